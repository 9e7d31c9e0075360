# What `cmake --install` lays down, and how other projects find it: mim.pc and the CMake package mim.
include(CMakePackageConfigHelpers)

install(TARGETS kv mim EXPORT mim)
install(TARGETS mim-tool)

file(GLOB public_headers CONFIGURE_DEPENDS src/include/*.h src/lib/mim/mim.h)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mim)

foreach(section IN ITEMS 1 3 5)
  file(GLOB pages CONFIGURE_DEPENDS docs/man/*.${section})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

# Relative to mim.pc itself, so that the tree may be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/mim.pc.in mim.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mim.pc DESTINATION ${pkgconfig_dir})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mim)
install(EXPORT mim NAMESPACE mim:: FILE mimConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(mimConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mimConfigVersion.cmake DESTINATION ${package_dir})
