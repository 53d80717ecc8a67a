# One Debian package with program, plug-in, libraries and headers. Configured for /usr, since Debian's folder of
# libraries depends on that (preset "package").
set(CPACK_PACKAGE_NAME kyxdcam)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Import plug-in for XDCAM EX cards and media files, with a host program")
set(CPACK_PACKAGE_CONTACT "kyxdcam maintainers <maintainers@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
include(CPack)
