# Builds Tests/Consumer against the installation that Install.cmake made and runs it. -DWAY=find_package goes through a CMake
# project, -DWAY=pkg_config through one command line.
cmake_minimum_required(VERSION 3.25)
set(prefix ${SCRATCH}/prefix)
set(consumer ${SOURCE}/Tests/Consumer)
set(work ${SCRATCH}/${WAY})
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work})

if(WAY STREQUAL "find_package")
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${consumer} -B ${work} -G Ninja -DCMAKE_BUILD_TYPE=Release
                          -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix}
                          -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DEXPECTED_PREFIX=${prefix}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${work} COMMAND_ERROR_IS_FATAL ANY)
else()
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  execute_process(COMMAND ${PKG_CONFIG} --modversion KVTFoundation OUTPUT_VARIABLE version
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT version STREQUAL VERSION)
    message(FATAL_ERROR "pkg-config answers version ${version} instead of ${VERSION}")
  endif()
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs KVTFoundation OUTPUT_VARIABLE flags
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ${PKG_CONFIG} --variable=libdir KVTFoundation OUTPUT_VARIABLE libdir
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  execute_process(COMMAND ${CXX} -std=c++20 -Wall -Wextra -Werror ${consumer}/main.cpp -o ${work}/consumer
                          ${flags} -Wl,-rpath,${libdir}
                  COMMAND_ERROR_IS_FATAL ANY)
endif()

execute_process(COMMAND ${work}/consumer OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
file(READ ${consumer}/expected.txt expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the consumer printed\n${output}instead of\n${expected}")
endif()
