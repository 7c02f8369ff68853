# ccache is used where it is installed; CMAKE_CXX_COMPILER_LAUNCHER, when given (even empty), has the last word.
if(PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(KVT_CCACHE ccache)
  mark_as_advanced(KVT_CCACHE)
  if(KVT_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${KVT_CCACHE})
  endif()
endif()
