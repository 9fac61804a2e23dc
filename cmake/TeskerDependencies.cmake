# The libraries that the project stands on. Each missing one is named with what to install.
find_package(PkgConfig)
if(NOT PKG_CONFIG_FOUND)
  message(FATAL_ERROR "pkg-config is missing: install pkg-config")
endif()

pkg_search_module(SYSTEMD IMPORTED_TARGET GLOBAL libsystemd>=246 libelogind>=246)
if(NOT SYSTEMD_FOUND)
  message(FATAL_ERROR
    "The D-Bus library of systemd (sd-bus) is missing: install libsystemd-dev, "
    "or libelogind-dev on a system without systemd (it has the same interface)")
endif()

find_package(CLI11 CONFIG QUIET)
if(NOT CLI11_FOUND)
  message(FATAL_ERROR "The command-line library CLI11 is missing: install libcli11-dev")
endif()

find_package(nlohmann_json CONFIG QUIET)
if(NOT nlohmann_json_FOUND)
  message(FATAL_ERROR "The JSON library nlohmann-json is missing: install nlohmann-json3-dev")
endif()

if(TESKER_DESKTOP)
  pkg_check_modules(GIO IMPORTED_TARGET GLOBAL gio-unix-2.0>=2.70)
  if(NOT GIO_FOUND)
    message(STATUS "tesker-desktop is not built, for GLib is missing: install libglib2.0-dev")
    set(TESKER_DESKTOP OFF)
  endif()
endif()

if(TESKER_TESTS)
  find_package(GTest CONFIG QUIET)
  if(NOT GTest_FOUND)
    message(FATAL_ERROR
      "GoogleTest is missing: install libgtest-dev and libgmock-dev, "
      "or configure with -DTESKER_TESTS=OFF")
  endif()
endif()

if(TESKER_BENCHMARKS)
  find_package(benchmark CONFIG QUIET)
  if(NOT benchmark_FOUND)
    message(FATAL_ERROR
      "Google Benchmark is missing: install libbenchmark-dev, "
      "or configure with -DTESKER_BENCHMARKS=OFF")
  endif()
endif()
