# What is installed, and the Debian package made of it. The speech engine is Murlo's own copy, put
# into the build folder by ./dev package.
include(GNUInstallDirs)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/murlo)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # packaging builds no tests
install(TARGETS murlo murlo-backend RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${CMAKE_BINARY_DIR}/lib/murlo/bin DESTINATION lib/murlo USE_SOURCE_PERMISSIONS
        FILES_MATCHING PATTERN whisper-server PATTERN murlo-measure)
install(DIRECTORY ${CMAKE_BINARY_DIR}/lib/murlo/bin DESTINATION lib/murlo FILES_MATCHING PATTERN "lib*.so*")
install(FILES ${CMAKE_BINARY_DIR}/lib/murlo/whisper.cpp-LICENSE docs/backend.md docs/engine.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/murlo-backend.socket packaging/murlo-backend.service DESTINATION lib/systemd/user)
install(FILES packaging/murlo.conf packaging/murlo-backend.conf DESTINATION /etc/murlo)

# The menu entry is the handler of the build's own scheme; Murlo itself claims a configured one.
string(REGEX REPLACE "\\${MURLO_CLIENT_SUFFIX}$" "" MURLO_CLIENT_NAME "${MURLO_CLIENT}")
string(TOLOWER "${MURLO_REDIRECT_PREFIX}${MURLO_CLIENT_NAME}" MURLO_SCHEME)
configure_file(packaging/murlo.desktop.in ${CMAKE_BINARY_DIR}/packaging/murlo.desktop @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/murlo.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME murlo)
set(CPACK_PACKAGE_VENDOR Murlo)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "dictation into any text box, recognised on this computer")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz) # a third of what gzip makes of the engine
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Murlo developers <murlo@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The engine's libraries are its own. Vulkan's loader, which one of them is linked with, is recommended:
# it brings the drivers.
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_SOURCE_DIR}/packaging/debian/cpack.cmake)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib/murlo/bin)
# What is loaded at run time, which shlibdeps does not see: the database driver (one of five that
# libqt6sql6 would take), libsecret and the opener of addresses.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "procps, libqt6sql6-sqlite, libsecret-1-0, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libvulkan1, at-spi2-core, fonts-inter, gnome-keyring | kwalletmanager, desktop-file-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libqt6sql6-psql")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(script conffiles postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/${script})
endforeach()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
include(CPack)
