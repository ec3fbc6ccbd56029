# What `cmake --install` puts where. The component "library" is all that a program needs to host the library: both
# forms of it, the host kit, their headers, the CMake package and the pkg-config files. "program" is iif.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/index_iface)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/index_iface)

install(TARGETS index_iface index_iface_static EXPORT library COMPONENT library)
install(TARGETS index_iface_hostkit EXPORT hostkit COMPONENT library)
install(TARGETS iif COMPONENT program)

# Headers keep their folders, since they include each other from the root.
file(GLOB host_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/*.h)
foreach(header IN LISTS host_headers ITEMS
        core/index_iface.h core/records.h core/stats.h core/visibility.h
        cache/block_store.h cache/cache_helper.h cache/mem_cache.h cache/spare_records.h discovery/index_location.h observability/index_iface_perf.h
        hostkit/errors.h hostkit/http_exchange.h hostkit/log.h hostkit/settings.h)
  cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
  cmake_path(RELATIVE_PATH header BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE relative)
  cmake_path(GET relative PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${header_dir}/${folder} COMPONENT library)
endforeach()

install(EXPORT library FILE index_iface-library.cmake NAMESPACE index_iface:: DESTINATION ${package_dir}
        COMPONENT library)
install(EXPORT hostkit FILE index_iface-hostkit.cmake NAMESPACE index_iface:: DESTINATION ${package_dir}
        COMPONENT library)
configure_package_config_file(cmake/index_iface-config.cmake.in index_iface-config.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
# Before 1.0 every minor version may change the interface.
write_basic_package_version_file(index_iface-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/index_iface-config.cmake ${PROJECT_BINARY_DIR}/index_iface-config-version.cmake
        DESTINATION ${package_dir} COMPONENT library)

# Relative to the files' own place, so that a tree that was moved or installed under another prefix still works.
file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
foreach(name index_iface index_iface_hostkit)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
endforeach()
