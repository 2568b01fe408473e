# The Debian packages, made with CPack in a 64-bit build tree:
#   cpack -G DEB --config <build>/CPackConfig.cmake
# vek      the libraries, vekctl, vek-sim-image, the message catalogs, the
#          manual pages and the documentation (component "runtime")
# vek-dev  the headers, the library links and the CMake package ("dev")
# Dependencies on other packages are computed with dpkg-shlibdeps.
# tests/package/deb_test.sh builds, unpacks, runs and checks them.

# What the tools' own CMake files leave to the package.
install(TARGETS veksim vekdriver LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
if(TARGET veklinux)
  install(TARGETS veklinux LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
endif()
install(TARGETS vek-sim-image RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Manual pages, made at build time from the programs' own help, so that they
# follow the options as they change.
find_program(VEK_HELP2MAN help2man)
if(VEK_HELP2MAN)
  set(man ${PROJECT_BINARY_DIR}/man)
  file(MAKE_DIRECTORY ${man})
  add_custom_command(OUTPUT ${man}/vekctl.8.gz
    COMMAND ${CMAKE_COMMAND} -DHELP2MAN=${VEK_HELP2MAN}
            -DPROGRAM=${PROJECT_SOURCE_DIR}/cmake/vekctl-help.sh -DENV=VEKCTL=$<TARGET_FILE:vekctl>
            -DSECTION=8 "-DNAME=drive firmware maintenance with the vek module"
            -DINCLUDE=${PROJECT_SOURCE_DIR}/cmake/vekctl.h2m -DOUTPUT=${man}/vekctl.8.gz
            -P ${PROJECT_SOURCE_DIR}/cmake/VekManPage.cmake
    DEPENDS vekctl cmake/vekctl-help.sh cmake/vekctl.h2m cmake/VekManPage.cmake
    COMMENT "Making the manual page vekctl(8)")
  add_custom_command(OUTPUT ${man}/vek-sim-image.1.gz
    COMMAND ${CMAKE_COMMAND} -DHELP2MAN=${VEK_HELP2MAN} -DPROGRAM=$<TARGET_FILE:vek-sim-image>
            -DSECTION=1 "-DNAME=make firmware images for the simulated drives of vek"
            -DVERSION=${PROJECT_VERSION} -DOUTPUT=${man}/vek-sim-image.1.gz
            -P ${PROJECT_SOURCE_DIR}/cmake/VekManPage.cmake
    DEPENDS vek-sim-image cmake/VekManPage.cmake
    COMMENT "Making the manual page vek-sim-image(1)")
  add_custom_target(vek_man ALL DEPENDS ${man}/vekctl.8.gz ${man}/vek-sim-image.1.gz)
  install(FILES ${man}/vekctl.8.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES ${man}/vek-sim-image.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  message(WARNING "help2man not found: the manual pages and the package test are left out")
endif()

# Each package's copyright and changelog (Debian wants both in every
# package's documentation folder), the README and the formats in doc/.
string(TIMESTAMP VEK_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(VEK_PACKAGE_MAINTAINER "vek developers <vek-dev@example.org>" CACHE STRING
  "Maintainer field of the Debian packages")
configure_file(cmake/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/debian/changelog.gz
  COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/debian/changelog
  DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog)
add_custom_target(vek_changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog.gz)
foreach(pair runtime:vek dev:vek-dev)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES cmake/debian/copyright DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
    RENAME copyright COMPONENT ${component})
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()
file(GLOB VEK_DOC_FILES CONFIGURE_DEPENDS doc/*.md)
install(FILES README.md ${VEK_DOC_FILES} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/vek)

set(CPACK_PACKAGE_NAME vek)
set(CPACK_PACKAGE_VENDOR "vek developers")
set(CPACK_PACKAGE_CONTACT "${VEK_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VEK_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# vekctl links the package's own libraries: dpkg-shlibdeps finds them here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS usr/${CMAKE_INSTALL_LIBDIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME vek)
# The libraries lie in the loader's directories: Debian wants the ldconfig
# trigger (CPack's own maintainer scripts call ldconfig as well).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
# Description texts: the first line is the synopsis; an empty line separates
# paragraphs.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "hardware-access module for drive firmware maintenance
vek presents the drives on a storage controller (SCSI drives, ATA drives,
drives behind an array controller) as a tree of devices with named
attributes and operations, and updates their firmware directly or through
deferred requests that an array controller runs later.

This package holds the module libvek.so with its host framework, the
simulated controller, the vekctl command-line host and vek-sim-image.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME vek-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "vek (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_DESCRIPTION "hardware-access module for drive firmware maintenance (development files)
vek presents the drives on a storage controller as a tree of devices with
named attributes and operations, and updates their firmware.

This package holds the headers of the module and its host framework, the
library links and the CMake package (find_package(vek)), for hosts and
controller drivers built against vek.")
include(CPack)
