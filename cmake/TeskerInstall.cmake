# What is installed: the tool, the commands, and libtesker, one static library of all layers below
# the programs, with its headers, its CMake package and its pkg-config file.
#
# There is no shared one: what crosses its interface (strings, records, counted objects) is inline in
# its headers, and changes from version to version.
#
# Components: "runtime" for those who run it, "development" for those who build with it, "desktop" for
# those who have a desktop beside it.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

get_property(library_layers GLOBAL PROPERTY TESKER_LIBRARY_LAYERS)

# libtesker
add_library(tesker STATIC)
add_library(tesker::tesker ALIAS tesker)
set_target_properties(tesker PROPERTIES LINKER_LANGUAGE CXX)
foreach(layer ${library_layers})
  target_sources(tesker PRIVATE $<TARGET_OBJECTS:tesker_${layer}>)
endforeach()
target_compile_features(tesker PUBLIC cxx_std_20)
target_include_directories(tesker INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/tesker>)
# It loads the bus library itself, when it is needed.
target_link_libraries(tesker INTERFACE ${CMAKE_DL_LIBS})

get_property(public_headers GLOBAL PROPERTY TESKER_PUBLIC_HEADERS)
foreach(header ${public_headers})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tesker/${folder}
    COMPONENT development)
endforeach()

# Programs. tesker-apps looks for the tool from its own folder on (TESKER_TOOL_FROM_PROGRAMS).
install(TARGETS tesker-apps tesker-fileop RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS ToolFinder tesker-read-ahead EXPORT tesker-targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tesker)
install(TARGETS tesker EXPORT tesker-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# CMake package and pkg-config file. Both find the rest from where they lie, so that the tree can
# be moved.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tesker)
install(EXPORT tesker-targets NAMESPACE tesker:: DESTINATION ${package_folder}
  COMPONENT development)
configure_package_config_file(cmake/tesker-config.cmake.in ${CMAKE_BINARY_DIR}/tesker-config.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tesker-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tesker-config.cmake ${CMAKE_BINARY_DIR}/tesker-config-version.cmake
  cmake/TeskerDescribe.cmake DESTINATION ${package_folder} COMPONENT development)

set(TESKER_PREFIX_FROM_PKGCONFIG ${CMAKE_INSTALL_PREFIX})
cmake_path(RELATIVE_PATH TESKER_PREFIX_FROM_PKGCONFIG
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
foreach(folder LIBDIR INCLUDEDIR LIBEXECDIR)
  set(TESKER_PC_${folder} \${prefix})
  cmake_path(APPEND TESKER_PC_${folder} ${CMAKE_INSTALL_${folder}}) # as it is when it is absolute
endforeach()
configure_file(cmake/tesker.pc.in ${CMAKE_BINARY_DIR}/tesker.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tesker.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

# Documents and completions
install(FILES docs/Tesker.ToolFinder.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/tesker)
file(GLOB documents CONFIGURE_DEPENDS docs/*.md)
list(FILTER documents EXCLUDE REGEX "/performance\\.md$") # about measuring this source
install(FILES README.md CHANGELOG.md SECURITY.md ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES tests/install/consumer/CMakeLists.txt tests/install/consumer/main.cpp
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libtesker-dev/examples COMPONENT development)
install(FILES docs/man/tesker-apps.1 docs/man/tesker-fileop.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/tesker-description.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES docs/man/ToolFinder.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
foreach(program tesker-apps tesker-fileop)
  set(completion packaging/completions/${program})
  install(FILES ${completion}.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${completion}.zsh RENAME _${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  install(FILES ${completion}.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endforeach()

# What needs GLib is a part of its own.
if(TESKER_DESKTOP)
  set(completion packaging/completions/tesker-desktop)
  install(TARGETS tesker-desktop RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    COMPONENT desktop)
  install(FILES docs/man/tesker-desktop.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT desktop)
  install(FILES ${completion}.bash RENAME tesker-desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT desktop)
  install(FILES ${completion}.zsh RENAME _tesker-desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT desktop)
  install(FILES ${completion}.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
    COMPONENT desktop)
  # systemd looks for units below lib, whatever the folder for libraries is.
  configure_file(packaging/tesker-desktop.service.in ${CMAKE_BINARY_DIR}/tesker-desktop.service @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/tesker-desktop.service DESTINATION lib/systemd/user
    COMPONENT desktop)
endif()

# Where tar and compress are elsewhere than built in, the site's defaults have to say so.
if(TESKER_DEBIAN_DEFAULTS)
  install(CODE "
    set(SOURCE \"${PROJECT_SOURCE_DIR}\")
    set(FOLDER \"${CMAKE_INSTALL_SYSCONFDIR}\")")
  install(SCRIPT cmake/InstallDefaults.cmake)
endif()
