#include "platform/foundation/ReadFailures.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <system_error>

namespace tesker {

namespace {

// The answers of a file that is not there, is not ours to read, or cannot be read by its nature.
constexpr std::array kOrdinary = {ENOENT, ENOTDIR,      EACCES, EPERM,
                                  ELOOP,  ENAMETOOLONG, ENXIO,  ENODEV};

thread_local ReadFailures *listening = nullptr;
thread_local int lastError = 0;

} // namespace

bool isExhaustion(int error) { return error == ENOMEM || error == EMFILE || error == ENFILE; }

ReadFailures::ReadFailures() : before_(listening) { listening = this; }

ReadFailures::~ReadFailures() { listening = before_; }

int lastReadFailure() { return lastError; }

void noteReadFailure(int error) {
  lastError = error;
  if (listening == nullptr || std::ranges::find(kOrdinary, error) != kOrdinary.end())
    return;
  if (error == ENOMEM)
    throw std::bad_alloc();
  if (isExhaustion(error))
    throw std::system_error(error, std::generic_category());
  if (listening->count_++ == 0)
    listening->firstError_ = error;
}

} // namespace tesker
