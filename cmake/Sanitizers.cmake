# KVT_SANITIZE=address,undefined or thread instruments every target of the build; KVT_BUILD_FUZZERS adds the counters that
# the fuzzers steer by.
if(KVT_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The fuzzers need clang: configure with `cmake --preset fuzz`.")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(KVT_SANITIZE)
  add_compile_options(-fsanitize=${KVT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND KVT_SANITIZE MATCHES "undefined")
    # Messages call implementations through the type of the call: an integer result of any width comes back in one register.
    add_compile_options(-fno-sanitize=function)
  endif()
  add_link_options(-fsanitize=${KVT_SANITIZE})
endif()
