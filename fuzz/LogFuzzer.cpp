// LogFuzzer.cpp - log lines out of a format and arguments, written to a standard error that the
// input says more about; and the pipe that they are read from.
//
// The input's first byte says which standard descriptors are missing when the pipe is made, the
// next two which system call fails (FailingCalls.h), and one more which allocation. Then come the
// format and up to three arguments, with the byte FF between them.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Text.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/AllocationCount.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <syslog.h>

using namespace tesker;

namespace {

// The standard descriptors, of which some are missing while it lives.
class MissingDescriptors {
public:
  explicit MissingDescriptors(unsigned which) {
    for (int i = 0; i < 3; ++i) {
      kept(i) = FileDescriptor(::fcntl(i, F_DUPFD_CLOEXEC, 3));
      if ((which >> i & 1U) != 0)
        ::close(i);
    }
  }
  ~MissingDescriptors() {
    for (int i = 0; i < 3; ++i)
      if (!kept(i) || ::dup2(kept(i).number(), i) < 0)
        ::close(i);
  }
  MissingDescriptors(const MissingDescriptors &) = delete;
  MissingDescriptors &operator=(const MissingDescriptors &) = delete;

private:
  FileDescriptor &kept(int i) { return kept_[static_cast<std::size_t>(i)]; }

  std::array<FileDescriptor, 3> kept_;
};

Result<Pipe> tryPipe(unsigned choice) {
  const MissingDescriptors missing(choice);
  const FewDescriptors few(choice / 8 % 8 == 0 ? 8 : choice / 8 % 8);
  Result<Pipe> pipe = createPipe();
  check(!pipe || (pipe->readEnd.number() > 2 && pipe->writeEnd.number() > 2));
  openMissingStandardDescriptors();
  for (int i = 0; i < 3; ++i)
    check(::fcntl(i, F_GETFD) >= 0 || !pipe);
  return pipe;
}

// What is written to standard error meanwhile.
template <class Write> std::string writtenTo(const Pipe &pipe, Write write) {
  const FileDescriptor kept(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
  ::dup2(pipe.writeEnd.number(), STDERR_FILENO);
  write();
  ::dup2(kept.number(), STDERR_FILENO);
  std::string bytes(60000, '\0'); // less than a pipe holds
  (void)::fcntl(pipe.readEnd.number(), F_SETFL, O_NONBLOCK);
  const ssize_t size = ::read(pipe.readEnd.number(), bytes.data(), bytes.size());
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return bytes;
}

void tryLog(const Pipe &pipe, FailingCalls &failing, Input input) {
  const std::size_t number = input.byte();
  const std::string_view format = input.upTo('\xFF'), first = input.upTo('\xFF'),
                         second = input.upTo('\xFF'), third = input.rest();
  const std::string line = formatted(format, {first, second, third});
  check(std::ranges::count_if(line, isControl) <= std::ranges::count_if(format, isControl));
  const bool wasUtf8 = isUtf8(first) && isUtf8(second) && isUtf8(third);
  check(!wasUtf8 || !isUtf8(format) || isUtf8(line));
  const std::string written = writtenTo(pipe, [&] {
    const ScopedOperatingSystem scoped(failing);
    const test::FailingAllocation withoutMemory(number);
    errno = EDOM;
    if (number % 2 == 0)
      NSLog(format, {first, second, third});
    else
      syslogError(format, {first, second, third});
    check(errno == EDOM);
  });
  // Without memory for the line the format stands there.
  check(written == line + "\n" || written == std::string(format) + "\n" || failing.hasFailed());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  ::setlogmask(LOG_MASK(LOG_DEBUG)); // nothing that is tried goes to the machine's own log
  const auto before = test::openDescriptorCount();
  Input input(data, std::min<std::size_t>(size, 10000));
  const unsigned choice = input.byte();
  FailingCalls failing(input);
  if (const Result<Pipe> pipe = tryPipe(choice))
    tryLog(*pipe, failing, input);
  check(test::openDescriptorCount() == before);
  return 0;
}
