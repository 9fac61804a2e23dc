# Packages by CPack: cpack -G DEB (./dev package) or -G RPM, the same ones as debian/ makes: one to run
# the finder, one to build with the library, and one for desktops where it is built.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tesker)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Tesker authors")
set(CPACK_PACKAGE_CONTACT "The Tesker authors <tesker@tesker.invalid>")
set(CPACK_COMPONENTS_ALL runtime development)
if(TESKER_DESKTOP)
  list(APPEND CPACK_COMPONENTS_ALL desktop)
endif()
# The first line of each description is the synopsis. CPack would put any summary but this before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "application finder of a desktop file browser
Tells a file browser, and the person in front of it, which applications live
in some directories, what file types they open, which services they offer, and
whether they run on this machine.
.
This package holds the tool that a file browser starts (ToolFinder) and the
commands tesker-apps and tesker-fileop.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "application finder of a desktop file browser (library)
Headers and static library for authors of file browsers: the codec of the
finder's answers, the master's side of its protocol, and a file-system layer
with caches. The CMake package brings functions for programs that describe
themselves.")
set(CPACK_COMPONENT_DESKTOP_DESCRIPTION "application finder of a desktop file browser (desktop entries)
Makes the applications that a desktop has entries of known to tesker-apps, and
those that tesker-apps knows to the desktop: its menu, its types of files and
its defaults. A unit for the user's own systemd keeps both up to date, once it
is enabled.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/arrange.cmake)
set(CPACK_TESKER_SOURCE ${PROJECT_SOURCE_DIR}) # for the script
set(CPACK_TESKER_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_TESKER_LIBEXECDIR ${CMAKE_INSTALL_LIBEXECDIR})

# With the staging folder in DESTDIR, the prefix is the true one while files are installed.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME tesker)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The programs load it themselves, so it is not found among what they are linked to.
set(bus_library_package "${SYSTEMD_MODULE_NAME}0 (>= 246)")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${bus_library_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "ncompress") # what tesker-fileop runs, as tar
if(TESKER_DEBIAN_DEFAULTS)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/conffiles)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON) # whatever the umask is
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtesker-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "tesker (= ${PROJECT_VERSION}), ${bus_library_package}")
# Once there was one package for all of it.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_BREAKS "tesker (<< 0.2.0)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_REPLACES "tesker (<< 0.2.0)")

set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME tesker-desktop)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS "tesker (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DESKTOP_PACKAGE_RECOMMENDS "desktop-file-utils, libglib2.0-bin, shared-mime-info")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE Apache-2.0)
set(CPACK_RPM_RUNTIME_PACKAGE_NAME tesker)
set(CPACK_RPM_RUNTIME_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RPM_DEVELOPMENT_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION} (library)")
set(bus_library_file "${SYSTEMD_MODULE_NAME}.so.0")
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  string(APPEND bus_library_file "()(64bit)")
endif()
set(CPACK_RPM_RUNTIME_PACKAGE_REQUIRES "${bus_library_file}")
set(CPACK_RPM_DEVELOPMENT_PACKAGE_NAME libtesker-devel)
set(CPACK_RPM_DEVELOPMENT_PACKAGE_REQUIRES "tesker = ${PROJECT_VERSION}, ${bus_library_file}")
set(CPACK_RPM_DESKTOP_PACKAGE_NAME tesker-desktop)
set(CPACK_RPM_DESKTOP_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION} (desktop entries)")
set(CPACK_RPM_DESKTOP_PACKAGE_REQUIRES "tesker = ${PROJECT_VERSION}")
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /etc /etc/xdg /usr/share/man /usr/share/man/man1 /usr/share/man/man5 /usr/share/man/man8 /usr/libexec
  /usr/share/doc /usr/share/bash-completion /usr/share/bash-completion/completions /usr/share/zsh
  /usr/share/zsh/site-functions /usr/share/fish /usr/share/fish/vendor_completions.d
  /usr/lib64/cmake /usr/lib64/pkgconfig /usr/lib/cmake /usr/lib/pkgconfig
  /usr/lib/systemd /usr/lib/systemd/user)
if(TESKER_DEBIAN_DEFAULTS)
  set(CPACK_RPM_RUNTIME_USER_FILELIST "%config(noreplace) /etc/xdg/tesker/defaults/Tesker.plist")
endif()
include(CPack)
