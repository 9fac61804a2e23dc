// ReadAheadHintsFuzzer.cpp - what a master tells the program that reads ahead, in parts of any
// size.
//
// The input's first byte says how large the parts are. What is told must not depend on that, and
// what a hint says must come out of it again.
#include "ahead/HintReader.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "parsing/ReadAheadHints.h"

#include <string>

using namespace tesker;

namespace {

// Every hint that is told, written as a master writes it.
std::string told(std::string_view bytes, std::size_t partSize) {
  std::string hints;
  HintReader reader(
      {.searchPath = [&](std::string_view path) { hints += searchPathHint(path); },
       .progress = [&](std::uint64_t entries,
                       std::string_view directory) { hints += progressHint(entries, directory); }});
  for (Input input(bytes); !input.isEmpty();)
    reader.take(input.take(partSize));
  return hints;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const std::size_t partSize = input.byte() + std::size_t{1};
  const std::string hints = told(input.rest(), partSize);
  check(hints == told(input.rest(), size));
  check(hints == told(hints, partSize));
  return 0;
}
