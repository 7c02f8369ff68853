# Which headers a program may include, and therefore which ones are installed.
#
# A header is private when its leading comment says "not installed"; those below are so by their names too, lest a forgotten
# comment publish a body's layout. Everything else in Platform/ and Source/ is public: it includes public headers only and
# compiles alone. The test `floors` and the library `public_headers` hold us to it.
set(KVT_PRIVATE_HEADERS
  "*Body.h" "*Internal.h" "*Private.h" "Kinds.h" "Dispose.h" "FfiTypes.h" "JSONReader.h" "JSONWriter.h" "FixedDateParser.h")

# Whether the header at `path` is private.
function(kvt_is_private_header out path)
  get_filename_component(name ${path} NAME)
  foreach(pattern IN LISTS KVT_PRIVATE_HEADERS)
    string(REPLACE "." "\\." regex ${pattern})
    string(REPLACE "*" ".*" regex ${regex})
    if(name MATCHES "^${regex}$")
      set(${out} TRUE PARENT_SCOPE)
      return()
    endif()
  endforeach()
  file(STRINGS ${path} lines LIMIT_COUNT 60)
  set(leading)
  foreach(line IN LISTS lines)
    if(NOT line MATCHES "^//(.*)")
      break()
    endif()
    string(APPEND leading "${CMAKE_MATCH_1}")
  endforeach()
  if(leading MATCHES "not +installed")
    set(${out} TRUE PARENT_SCOPE)
  else()
    set(${out} FALSE PARENT_SCOPE)
  endif()
endfunction()

# The public headers below `folder`, as paths relative to it, sorted.
function(kvt_public_headers out folder)
  if(CMAKE_SCRIPT_MODE_FILE)
    file(GLOB_RECURSE headers RELATIVE ${folder} ${folder}/*.h)
  else()
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${folder} ${folder}/*.h)
  endif()
  set(public)
  foreach(header IN LISTS headers)
    kvt_is_private_header(private ${folder}/${header})
    if(NOT private)
      list(APPEND public ${header})
    endif()
  endforeach()
  list(SORT public)
  set(${out} ${public} PARENT_SCOPE)
endfunction()
