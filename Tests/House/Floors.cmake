# Arrows run downward only, and public headers are light. Reads the #include lines of everything below -DROOT=… and names each
# line that breaks a rule:
#
#   Platform/ knows nothing of Source/ (KVTFoundation); Runtime/ nothing of Values/ and Services/; Values/ nothing of Services/.
#   A public header includes public headers and light standard ones: nothing private, nothing of a third party, none of
#   <functional>, <regex>, <chrono>, <iostream>.
#   Tools/ and Examples/ include public headers only.
#   The umbrella KVTPlatform.h, where there is one, includes every public header of Runtime/ and Values/.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/PublicHeaders.cmake)

set(heavy_standard_headers functional regex chrono iostream)
set(kept_standard_headers  # of C and C++, and the platform's that a declaration may need
  algorithm any array atomic bit cassert cctype cerrno cfloat charconv climits cmath compare concepts condition_variable
  cstddef cstdint cstdio cstdlib cstring deque exception initializer_list iosfwd iterator limits list map memory mutex new
  numbers numeric optional ostream istream ranges ratio set shared_mutex span sstream stdexcept string string_view
  source_location thread tuple type_traits typeinfo unordered_map unordered_set utility variant vector version
  sys/types.h sys/stat.h sys/time.h time.h ctime)

set(violations 0)
function(violation file line text)
  message("${file}: ${text}: ${line}")
  math(EXPR count "${violations} + 1")
  set(violations ${count} PARENT_SCOPE)
endfunction()

# What the include line means, as a path from the root ("Platform/…", "Source/…"), or "<name>" for everything else.
function(included out file line)
  string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*" "" name "${line}")
  if(name MATCHES "^<KVTPlatform/([^>]*)>")
    set(target Platform/${CMAKE_MATCH_1})
  elseif(name MATCHES "^<KVTFoundation/([^>]*)>")
    set(target Source/${CMAKE_MATCH_1})
  elseif(name MATCHES "^\"([^\"]*)\"")
    get_filename_component(directory ${file} DIRECTORY)
    get_filename_component(target ${ROOT}/${directory}/${CMAKE_MATCH_1} ABSOLUTE)
    file(RELATIVE_PATH target ${ROOT} ${target})
  elseif(name MATCHES "^<([^>]*)>")
    set(target "<${CMAKE_MATCH_1}>")
  else()
    set(target "${name}")
  endif()
  set(${out} "${target}" PARENT_SCOPE)
endfunction()

set(files)
foreach(folder Platform Source Tools Examples)
  file(GLOB_RECURSE found RELATIVE ${ROOT} ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.cpp)
  list(APPEND files ${found})
endforeach()
list(LENGTH files count)
if(count EQUAL 0)
  message(FATAL_ERROR "nothing to check below ${ROOT}")
endif()

foreach(file IN LISTS files)
  set(public FALSE)
  if(file MATCHES "^(Platform|Source)/.*\\.h$")
    kvt_is_private_header(private ${ROOT}/${file})
    if(NOT private)
      set(public TRUE)
    endif()
  endif()
  file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include")
  foreach(line IN LISTS lines)
    included(target ${file} "${line}")

    if(file MATCHES "^Platform/" AND target MATCHES "^Source/")
      violation(${file} "${line}" "Platform may not include Source")
    elseif(file MATCHES "^Platform/Runtime/" AND target MATCHES "^Platform/(Values|Services|KVTPlatform\\.h)")
      violation(${file} "${line}" "Runtime may not include what stands above it")
    elseif(file MATCHES "^Platform/Values/" AND target MATCHES "^Platform/(Services|KVTPlatform\\.h)")
      violation(${file} "${line}" "Values may not include what stands above it")
    endif()

    set(target_private FALSE)
    if(target MATCHES "^(Platform|Source)/")
      if(EXISTS ${ROOT}/${target})
        kvt_is_private_header(target_private ${ROOT}/${target})
      else()
        violation(${file} "${line}" "no such header")
      endif()
    endif()
    if(target_private AND public)
      violation(${file} "${line}" "a public header may not include a private one")
    elseif(target_private AND file MATCHES "^(Tools|Examples)/")
      violation(${file} "${line}" "programs use public headers only")
    endif()

    if(public AND target MATCHES "^<(.*)>$")
      if(CMAKE_MATCH_1 IN_LIST heavy_standard_headers)
        violation(${file} "${line}" "too heavy for a public header")
      elseif(NOT CMAKE_MATCH_1 IN_LIST kept_standard_headers)
        violation(${file} "${line}" "public headers include no third party's")
      endif()
    elseif(public AND NOT target MATCHES "^(Platform|Source)/")
      violation(${file} "${line}" "public headers include public headers only")
    endif()
  endforeach()
endforeach()

set(umbrella ${ROOT}/Platform/KVTPlatform.h)
if(EXISTS ${umbrella})
  file(READ ${umbrella} content)
  kvt_public_headers(headers ${ROOT}/Platform)
  foreach(header IN LISTS headers)
    string(FIND "${content}" "#include <KVTPlatform/${header}>" position)
    if(header MATCHES "^(Runtime|Values)/" AND position EQUAL -1)
      violation(Platform/KVTPlatform.h "#include <KVTPlatform/${header}>" "the umbrella lacks a header")
    endif()
  endforeach()
endif()

if(violations GREATER 0)
  message(FATAL_ERROR "${violations} lines break the rules of the floors")
endif()
message("${count} files keep to their floors")
