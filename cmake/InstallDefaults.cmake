# Run when the project is installed: copies Debian's defaults of SOURCE below the configuration
# FOLDER. A relative one is below the prefix; only of /usr it is /etc, where defaults are looked for.
cmake_minimum_required(VERSION 3.21)

if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND NOT IS_ABSOLUTE "${FOLDER}")
  set(FOLDER "/${FOLDER}")
endif()
cmake_path(ABSOLUTE_PATH FOLDER BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
file(INSTALL ${SOURCE}/packaging/debian-defaults/Tesker.plist
  DESTINATION ${FOLDER}/xdg/tesker/defaults)
