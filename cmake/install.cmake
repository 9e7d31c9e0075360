# What `cmake --install` lays down, and how other projects find it: mim.pc and the CMake package mim.
# The components are named as the Debian packages that they become (cmake/package.cmake).
include(CMakePackageConfigHelpers)

install(TARGETS kv mim EXPORT mim LIBRARY COMPONENT libmim1 NAMELINK_COMPONENT libmim-dev)
install(TARGETS mim-tool COMPONENT mim-tools)

file(GLOB public_headers CONFIGURE_DEPENDS src/include/*.h src/lib/mim/mim.h)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/mim COMPONENT libmim-dev)

foreach(section IN ITEMS 1 5)
  file(GLOB pages CONFIGURE_DEPENDS docs/man/*.${section})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT mim-tools)
endforeach()

# Section 3 is made of mim.h.
set(man3_dir ${PROJECT_BINARY_DIR}/man3)
file(GLOB man3_sources CONFIGURE_DEPENDS docs/man/*.3 docs/man/*.3.in)
add_custom_command(OUTPUT ${man3_dir}/mim.3
  COMMAND tools/man-pages ${man3_dir}
  DEPENDS tools/man-pages src/lib/mim/mim.h ${man3_sources}
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  VERBATIM)
add_custom_target(man ALL DEPENDS ${man3_dir}/mim.3)
install(DIRECTORY ${man3_dir}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libmim-dev)

# Side by side as in the source tree, so that the links between them hold.
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/mim-tools)
install(DIRECTORY examples DESTINATION ${doc_dir} COMPONENT mim-tools)
install(DIRECTORY docs/admin DESTINATION ${doc_dir}/docs COMPONENT mim-tools)

install(FILES completions/mim DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
  COMPONENT mim-tools)

# Relative to mim.pc itself, so that the tree may be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(cmake/mim.pc.in mim.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mim.pc DESTINATION ${pkgconfig_dir} COMPONENT libmim-dev)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mim)
install(EXPORT mim NAMESPACE mim:: FILE mimConfig.cmake DESTINATION ${package_dir} COMPONENT libmim-dev)
write_basic_package_version_file(mimConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mimConfigVersion.cmake DESTINATION ${package_dir} COMPONENT libmim-dev)
