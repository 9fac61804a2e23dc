# The Debian package: cpack -G DEB, or ./dev package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tesker)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Tesker maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
"Tells a file browser, and the person in front of it, which applications live
in some directories, what file types they open, which services they offer, and
whether they run on this machine.
.
This package holds the tool that a file browser starts (ToolFinder), the
commands tesker-apps and tesker-fileop, and the library libtesker for authors
of file browsers.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/arrange.cmake)

# With the staging folder in DESTDIR, the prefix is the true one while files are installed.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What tesker-fileop runs, and what a program needs that is built with the library.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "tar, ncompress")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libsystemd-dev, pkg-config")
if(TESKER_DEBIAN_DEFAULTS)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles)
endif()
include(CPack)
