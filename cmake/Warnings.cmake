# One interface target carries the warnings of our own code; nothing of it reaches who links the installed library.
add_library(kvt_warnings INTERFACE)
target_compile_options(kvt_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # What g++ 12 sees in optimised code of std::string and is not there: overlapping copies (GCC bug 105651), and short texts
  # that nobody wrote. Clang's own check of uninitialised variables stays.
  target_compile_options(kvt_warnings INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
  if(KVT_SANITIZE)
    # Instrumented code hides from g++ what it would need to know, so it warns of what cannot happen. The release build and
    # clang's are strict.
    target_compile_options(kvt_warnings INTERFACE -Wno-error -Wno-stringop-overflow -Wno-array-bounds
                           -Wno-format-truncation -Wno-tsan)
  endif()
endif()
