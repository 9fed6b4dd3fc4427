# What is installed, and the Debian package made of it. The speech engine is Murlo's own copy, put
# into the build folder by ./dev package.
include(GNUInstallDirs)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # packaging builds no tests
install(TARGETS murlo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(PROGRAMS ${CMAKE_BINARY_DIR}/lib/murlo/bin/whisper-server DESTINATION lib/murlo/bin)
install(FILES ${CMAKE_BINARY_DIR}/lib/murlo/whisper.cpp-LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES packaging/murlo.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME murlo)
set(CPACK_PACKAGE_VENDOR Murlo)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "dictation into any text box, recognised on this computer")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Murlo developers <murlo@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "procps")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "at-spi2-core, fonts-inter")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
include(CPack)
