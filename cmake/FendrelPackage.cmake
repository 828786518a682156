# The Debian package: `make package` configures a build with
# FENDREL_PACKAGED=ON and CMAKE_INSTALL_PREFIX=/usr and runs CPack's DEB
# generator on it. CPack keeps the install rules the one description of what
# an installed Fendrel is; dpkg-shlibdeps finds the library dependencies.

# Manual pages and the changelog go in compressed, the way Debian ships them
# (-n: no name or time stamp, so the same sources give the same package).
function(fendrel_install_gzipped source destination)
  get_filename_component(name ${source} NAME)
  set(gz ${CMAKE_BINARY_DIR}/gz/${name}.gz)
  add_custom_command(OUTPUT ${gz}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/gz
    COMMAND gzip -9n -c ${source} > ${gz}
    DEPENDS ${source} VERBATIM)
  add_custom_target(gz_${name} ALL DEPENDS ${gz})
  install(FILES ${gz} DESTINATION ${destination})
endfunction()

fendrel_install_gzipped(${PROJECT_SOURCE_DIR}/src/app/fendrel.1 ${CMAKE_INSTALL_MANDIR}/man1)
fendrel_install_gzipped(${PROJECT_SOURCE_DIR}/src/cli/fendrelctl.1 ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_SOURCE_DIR}/resources/com.quillmoor.fendrel.metainfo.xml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

if(NOT FENDREL_PACKAGED)
  return()
endif()

fendrel_install_gzipped(${PROJECT_SOURCE_DIR}/packaging/changelog ${CMAKE_INSTALL_DATADIR}/doc/fendrel)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/fendrel)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME fendrel)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME fendrel)
set(CPACK_PACKAGE_VENDOR Quillmoor)
set(CPACK_PACKAGE_CONTACT "Quillmoor <fendrel@quillmoor.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "protect web folders with passwords and address rules")
set(CPACK_PACKAGE_DESCRIPTION
  "Fendrel puts password and client-address restrictions on folders served by
the local Apache web server: it writes each folder's .htaccess, keeps the
users and groups files, repairs the server configuration so that access files
take effect, and starts and stops the server through a small helper that
polkit authorizes. fendrelctl does the same from the command line.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://www.quillmoor.com/fendrel/)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# pkcheck (polkitd) authorizes every helper run and pkexec installs a helper
# that lost its set-user-ID bit; Qt finds its X11 and Wayland platforms in
# plugins dpkg-shlibdeps cannot see. Apache is recommended only: fendrelctl
# and a remote server work without it, and the window says when it is missing.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "polkitd, pkexec, qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "apache2, apache2-utils")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
