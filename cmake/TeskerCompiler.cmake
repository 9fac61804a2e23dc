# Language level, warnings, hardening and sanitizers, for every target of the project.
include(CheckPIESupported)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Programs of the build tree stand together, laid out as they are installed.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# What is read is hostile, so a fault must be hard to make use of: nothing that points to code can be
# written once the program runs, no address is known beforehand, and a broken bound ends the process.
check_pie_supported(LANGUAGES CXX) # links programs as position-independent ones, whatever the default
add_compile_options(-fstack-protector-strong)
# All calls are bound at the start, and a function is never replaced by another of its name: that
# calls cost no detour pays for a part of the rest.
add_compile_options(-fno-plt -fno-semantic-interposition)
add_compile_definitions(_GLIBCXX_ASSERTIONS)
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
  # Return addresses are compared with the processor's own copy. The other half, the check where a
  # jump may land, costs an instruction for each function called, and Linux has it for the kernel only.
  add_compile_options(-fcf-protection=return)
endif()

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
elseif(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
  # Packagers ask for it in their own way.
  add_compile_options($<$<CONFIG:RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
endif()
if(TESKER_LIBFUZZER)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang" OR NOT TESKER_SANITIZE)
    message(FATAL_ERROR "libFuzzer needs clang++ and -DTESKER_SANITIZE=ON: use the preset \"fuzz\"")
  endif()
  # The layers count what they execute; only the fuzzers link to the one who asks. Beside tests they
  # do not tell what they compare, which would slow these down.
  if(TESKER_TESTS)
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fsanitize-coverage=inline-8bit-counters,pc-table>)
  else()
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
endif()

# For programs that end soon after they have started. The dynamic loader would spend more time on the
# C++ library than most searches take, and the parts of it that are not called have addresses to be
# set, too.
function(tesker_start_quickly program)
  target_link_options(${program} PRIVATE -Wl,--gc-sections)
  if(TESKER_STATIC_RUNTIME)
    target_link_options(${program} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()
