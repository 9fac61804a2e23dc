# Language level, warnings and sanitizers, for every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Programs of the build tree stand together, laid out as they are installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(TESKER_WERROR)
  add_compile_options(-Werror)
endif()
if(TESKER_SANITIZE)
  # Not vptr: its check opens a pipe, and fails in the tests of a process without descriptors left.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # g++ says so by itself.
    add_compile_definitions(__SANITIZE_ADDRESS__=1)
  endif()
else()
  add_compile_options($<$<CONFIG:RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
endif()
if(TESKER_LIBFUZZER)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT TESKER_SANITIZE)
    message(FATAL_ERROR "libFuzzer needs clang++ and -DTESKER_SANITIZE=ON: use the preset \"fuzz\"")
  endif()
  # The layers count what they execute; only the fuzzers link to the one who asks.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
