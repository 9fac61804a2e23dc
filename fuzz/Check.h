// Check.h - how a fuzzer says that something has to hold.
#pragma once

#include <cstdlib>

// libFuzzer keeps the input that ends the process; the replay has named it.
inline void check(bool holds) {
  if (!holds)
    std::abort();
}
