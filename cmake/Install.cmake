# cmake --install: public headers, libraries, resources, the CMake package, pkg-config files and gdb's printers.
# What is installed can be moved as a whole: nothing in it names the prefix.
include(CMakePackageConfigHelpers)
include(cmake/PublicHeaders.cmake)

set(KVT_DATA_DIR ${CMAKE_INSTALL_DATADIR}/KVTFoundation)
set(KVT_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KVTFoundation)

install(TARGETS KVTPlatform KVTFoundation EXPORT KVTFoundationTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET kvt)
  install(TARGETS kvt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

foreach(pair "Platform KVTPlatform" "Source KVTFoundation")
  separate_arguments(pair)
  list(GET pair 0 folder)
  list(GET pair 1 name)
  kvt_public_headers(headers ${PROJECT_SOURCE_DIR}/${folder})
  foreach(header IN LISTS headers)
    get_filename_component(directory ${header} DIRECTORY)
    install(FILES ${folder}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name}/${directory})
  endforeach()
endforeach()

if(EXISTS ${PROJECT_SOURCE_DIR}/Resources)
  install(DIRECTORY Resources/ DESTINATION ${KVT_DATA_DIR})
endif()

# gdb loads by itself what lies below its own auto-load folder under the library's full path: of an installation in /usr,
# this file. It loads the printers, which lie at the same place from the library in every installation.
install(FILES Tools/gdb/kvt_gdb.py DESTINATION ${KVT_DATA_DIR}/gdb)
file(RELATIVE_PATH KVT_DATA_FROM_LIB /prefix/${CMAKE_INSTALL_LIBDIR} /prefix/${KVT_DATA_DIR})
set(loader libKVTPlatform.so.${PROJECT_VERSION}-gdb.py)
configure_file(Tools/gdb/autoload.py.in ${PROJECT_BINARY_DIR}/cmake/${loader} @ONLY)
install(CODE "file(INSTALL \"${PROJECT_BINARY_DIR}/cmake/${loader}\" DESTINATION
  \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")")

install(EXPORT KVTFoundationTargets NAMESPACE KVTFoundation:: DESTINATION ${KVT_PACKAGE_DIR})
configure_package_config_file(cmake/KVTFoundationConfig.cmake.in ${PROJECT_BINARY_DIR}/cmake/KVTFoundationConfig.cmake
                              INSTALL_DESTINATION ${KVT_PACKAGE_DIR} PATH_VARS KVT_DATA_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/KVTFoundationConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/KVTFoundationConfig.cmake
              ${PROJECT_BINARY_DIR}/cmake/KVTFoundationConfigVersion.cmake
        DESTINATION ${KVT_PACKAGE_DIR})

# pkg-config knows where the file lies, and the prefix is found from there.
set(pkgconfig_dir /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH KVT_PC_PREFIX ${pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" KVT_PC_PREFIX ${KVT_PC_PREFIX})
foreach(library KVTPlatform KVTFoundation)
  configure_file(cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/cmake/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/cmake/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
