# What the libraries export lies in namespace kvt, but for the few names of C linkage that are part of the interface: nothing of
# ours may stand in for another library's function of the same name. -DNM=… -DLIBRARIES=….
cmake_minimum_required(VERSION 3.25)

set(plain_names
  KVTFoundationVersionString KVTFoundationVersionNumber KVTEncodingGetType is_inner_app get_app_version get_uisdk_version
  SET_LANGUAGE SystemLanguageKey KVT_LOGGER_FILE_SIZE KVT_NEW_LOG_FILE_NAME)

set(wrong 0)
foreach(library IN LISTS LIBRARIES)
  execute_process(COMMAND ${NM} -D --defined-only --format=posix ${library}
                  OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" lines "${listing}")
  set(ours 0)
  foreach(line IN LISTS lines)
    string(REGEX REPLACE " .*" "" name "${line}")
    if(name MATCHES "^_Z")
      if(name MATCHES "3kvt")
        math(EXPR ours "${ours} + 1")
      elseif(NOT line MATCHES " [VWu] ")  # weak: templates of the standard library, the same in everybody
        message("${library} exports ${name}, which is not in namespace kvt")
        set(wrong 1)
      endif()
    elseif(NOT name IN_LIST plain_names)
      message("${library} exports the plain name ${name}")
      set(wrong 1)
    endif()
  endforeach()
  list(LENGTH lines count)
  if(count EQUAL 0)
    message("${library} exports nothing")
    set(wrong 1)
  endif()
  message("${library}: ${count} exported symbols, ${ours} of namespace kvt")
endforeach()
if(wrong)
  message(FATAL_ERROR "the libraries export what they should not")
endif()
