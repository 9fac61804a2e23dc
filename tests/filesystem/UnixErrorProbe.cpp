#include "tests/filesystem/UnixErrorProbe.h"

#include "platform/foundation/NSString.h"

namespace tesker::test {

namespace {

UnixErrorProbe *current = nullptr;

} // namespace

UnixErrorProbe::UnixErrorProbe() { current = this; }
UnixErrorProbe::~UnixErrorProbe() { current = nullptr; }

// Where the linker sends the calls of _UNIX_ERROR.
void probedUnixError(const NSString &path) asm("__wrap__ZN6tesker11_UNIX_ERRORERKNS_8NSStringE");
void probedUnixError(const NSString &path) {
  if (current != nullptr)
    current->paths.emplace_back(path.bytes());
}

} // namespace tesker::test
