# The Debian packages libmim1, libmim-dev and mim-tools: `cpack --config build/release/CPackConfig.cmake`.
# cmake/package-stage.cmake makes of the staged files what Debian's policy asks for.
set(MIM_MAINTAINER "The mim authors <mim@meridian.example>" CACHE STRING "Maintainer of the Debian packages")

find_program(DPKG dpkg)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(NOT DPKG OR NOT DPKG_SHLIBDEPS)
  message(STATUS "No dpkg-shlibdeps (Debian's package dpkg-dev): no packages are made")
  return()
endif()

set(debian_dir ${PROJECT_SOURCE_DIR}/cmake/debian)
configure_file(${debian_dir}/changelog.in debian/changelog @ONLY)
configure_file(${debian_dir}/shlibs.in debian/shlibs @ONLY)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME mim)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL libmim1 libmim-dev mim-tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${MIM_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package-stage.cmake)
set(CPACK_MIM_DEBIAN_DIR ${debian_dir})
set(CPACK_MIM_CHANGELOG ${PROJECT_BINARY_DIR}/debian/changelog)
set(CPACK_MIM_SHLIBDEPS ${DPKG_SHLIBDEPS})
set(CPACK_MIM_STRIP ${CMAKE_STRIP})

# describe(COMPONENT SECTION SYNOPSIS LINE...): the fields of one package. The description's first line is the
# synopsis.
function(describe component section synopsis)
  string(TOUPPER ${component} name)
  string(JOIN "\n" text ${ARGN})
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_COMPONENT_${name}_DESCRIPTION "${synopsis}\n${text}" PARENT_SCOPE)
endfunction()

describe(libmim1 libs "Internet mail for an X.400 server - libraries"
  "libmim turns Internet addresses into O/R names and back, through rules files,"
  "domain maps and a directory, puts bodies into transfer encodings and takes"
  "them out, and reads and writes header words in the character sets of mail."
  "libkv has the services that it needs, on plain Linux.")
describe(libmim-dev libdevel "Internet mail for an X.400 server - development files"
  "The headers, the pkg-config file, the CMake package and the manual pages"
  "for programs that use libmim, which turns Internet addresses into O/R names"
  "and back and converts the bodies and header words of mail.")
describe(mim-tools mail "Internet mail for an X.400 server - command and manuals"
  "The command mim shows what becomes of an Internet address, an O/R name, a"
  "body or a header word with a server's rules, maps and directory, and why,"
  "before a change of these files goes live. With the administrator's guide and"
  "an example of a server's home.")

# What the libraries need is found by package-stage.cmake, which adds it to these.
set(CPACK_DEBIAN_LIBMIM-DEV_PACKAGE_DEPENDS "libmim1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_MIM-TOOLS_PACKAGE_DEPENDS "libmim1 (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBMIM1_PACKAGE_CONTROL_EXTRA
  ${debian_dir}/triggers ${PROJECT_BINARY_DIR}/debian/shlibs)

include(CPack)
