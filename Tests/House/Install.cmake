# Installs the build into a scratch prefix and looks at what is there. The prefix is moved afterwards, so that whoever uses it
# next proves that an installation does not care where it stands.
cmake_minimum_required(VERSION 3.25)
include(${SOURCE}/cmake/PublicHeaders.cmake)

file(REMOVE_RECURSE ${SCRATCH})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${SCRATCH}/first
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${SCRATCH}/first ${SCRATCH}/prefix)
set(prefix ${SCRATCH}/prefix)

set(wrong 0)
function(wrong text)
  message("${text}")
  set(wrong 1 PARENT_SCOPE)
endfunction()

# Exactly the public headers.
foreach(pair "Platform KVTPlatform" "Source KVTFoundation")
  separate_arguments(pair)
  list(GET pair 0 folder)
  list(GET pair 1 name)
  kvt_public_headers(expected ${SOURCE}/${folder})
  file(GLOB_RECURSE installed RELATIVE ${prefix}/${INCLUDEDIR}/${name} ${prefix}/${INCLUDEDIR}/${name}/*)
  foreach(header IN LISTS expected)
    if(NOT header IN_LIST installed)
      wrong("${name}/${header} is public and not installed")
    endif()
  endforeach()
  foreach(header IN LISTS installed)
    if(NOT header IN_LIST expected)
      wrong("${name}/${header} is installed and not public")
    endif()
  endforeach()
  if(expected STREQUAL "")
    wrong("no public header below ${folder}")
  endif()
endforeach()

# Everything in Resources/, unchanged.
file(GLOB_RECURSE resources RELATIVE ${SOURCE}/Resources ${SOURCE}/Resources/*)
foreach(resource IN LISTS resources)
  set(installed ${prefix}/${DATADIR}/KVTFoundation/${resource})
  if(EXISTS ${installed})
    file(SHA256 ${installed} theirs)
    file(SHA256 ${SOURCE}/Resources/${resource} ours)
    if(NOT theirs STREQUAL ours)
      wrong("${installed} differs from its source")
    endif()
  else()
    wrong("Resources/${resource} is not installed")
  endif()
endforeach()

set(files
  ${LIBDIR}/libKVTPlatform.so ${LIBDIR}/libKVTPlatform.so.${SOVERSION} ${LIBDIR}/libKVTPlatform.so.${VERSION}
  ${LIBDIR}/libKVTFoundation.so ${LIBDIR}/libKVTFoundation.so.${SOVERSION} ${LIBDIR}/libKVTFoundation.so.${VERSION}
  ${LIBDIR}/cmake/KVTFoundation/KVTFoundationConfig.cmake ${LIBDIR}/cmake/KVTFoundation/KVTFoundationConfigVersion.cmake
  ${LIBDIR}/cmake/KVTFoundation/KVTFoundationTargets.cmake
  ${LIBDIR}/pkgconfig/KVTFoundation.pc ${LIBDIR}/pkgconfig/KVTPlatform.pc
  ${DATADIR}/KVTFoundation/gdb/kvt_gdb.py)
if(HAVE_TOOL)
  list(APPEND files ${BINDIR}/kvt)
endif()
foreach(file IN LISTS files)
  if(NOT EXISTS ${prefix}/${file})
    wrong("${file} is not installed")
  endif()
endforeach()

# The SONAME is what programs are bound to.
foreach(library KVTPlatform KVTFoundation)
  file(READ_ELF ${prefix}/${LIBDIR}/lib${library}.so.${VERSION} RPATH rpath RUNPATH runpath CAPTURE_ERROR error)
  if("${rpath}${runpath}" MATCHES "${BUILD}|${SOURCE}")
    wrong("lib${library} still looks for its libraries in the build: ${rpath}${runpath}")
  endif()
  find_program(readelf readelf)
  if(readelf)
    execute_process(COMMAND ${readelf} -d ${prefix}/${LIBDIR}/lib${library}.so OUTPUT_VARIABLE dynamic
                    COMMAND_ERROR_IS_FATAL ANY)
    if(NOT dynamic MATCHES "SONAME[^\n]*\\[lib${library}\\.so\\.${SOVERSION}\\]")
      wrong("lib${library} has another SONAME than lib${library}.so.${SOVERSION}")
    endif()
  endif()
endforeach()

# Nothing that is read as text names the place where it was built or first installed.
file(GLOB_RECURSE texts ${prefix}/*.cmake ${prefix}/*.pc ${prefix}/*.h)
foreach(text IN LISTS texts)
  file(READ ${text} content)
  foreach(place ${BUILD} ${SCRATCH})
    string(FIND "${content}" "${place}" position)
    if(NOT position EQUAL -1)
      wrong("${text} names ${place}")
    endif()
  endforeach()
endforeach()

if(HAVE_TOOL)
  execute_process(COMMAND ${prefix}/${BINDIR}/kvt --help RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE error)
  if(NOT status EQUAL 0)
    wrong("the installed kvt does not run: ${status} ${error}")
  endif()
endif()

if(wrong)
  message(FATAL_ERROR "the installation is not what it should be")
endif()
