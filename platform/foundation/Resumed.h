// Resumed.h - a system call, made again for as long as a signal interrupts it.
#pragma once

#include <cerrno>

namespace tesker {

template <class Call> auto resumed(Call call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR)
      return result;
  }
}

} // namespace tesker
