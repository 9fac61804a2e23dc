// FilesFuzzer.cpp - writes a file in the place of another one, with system calls that fail, and
// reads it. What stands there is the former contents or the new ones.
//
// The input begins with the call that fails (FailingCalls.h), the mode of the former file, what it
// is, and how many bytes a reader takes; its contents and the new ones follow with the byte FF
// between them.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "platform/foundation/Files.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdint>
#include <string>

using namespace tesker;

namespace {

enum class Former { none, file, directory, link };

std::size_t countIn(const std::string &directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

void makeFormer(const test::TemporaryDirectory &directory, Former kind, std::string_view contents,
                mode_t mode) {
  if (kind == Former::file)
    (void)directory.writeFile("file", contents, mode);
  if (kind == Former::directory)
    (void)directory.makeDirectory("file");
  if (kind == Former::link)
    (void)directory.makeLink("file", "nowhere");
}

void tryFiles(Input input) {
  FailingCalls failing(input);
  const mode_t mode = input.byte() % 64U << 3U;
  const auto kind = static_cast<Former>(input.byte() % 4);
  const std::size_t limit = input.byte();
  const std::string former(input.upTo('\xFF')), latter(input.rest());
  const test::TemporaryDirectory directory;
  makeFormer(directory, kind, former, mode);
  const std::size_t before = countIn(directory.path());
  const NSString path = directory.string("file");
  bool isWritten = false;
  {
    const ScopedOperatingSystem scoped(failing);
    isWritten = static_cast<bool>(writeFileAtomically(path, latter));
    const Result<std::string> read = contentsOfFile(path, limit);
    check(!read || (read->size() <= limit && *read == (isWritten ? latter : former)));
  }
  const Result<std::string> after = contentsOfFile(path);
  if (!isWritten)
    check(kind == Former::file ? *after == former : !after);
  else
    check(*after == latter);
  check(isWritten || failing.hasFailed() || kind == Former::directory);
  check(failing.hasFailed() || countIn(directory.path()) == before + (kind == Former::none));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto before = test::openDescriptorCount();
  tryFiles(Input(data, size));
  check(test::openDescriptorCount() == before);
  return 0;
}
