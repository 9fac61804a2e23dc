// UnixErrorProbe.h - what the file-system layer reports to _UNIX_ERROR while the probe lives.
#pragma once

#include <string>
#include <vector>

namespace tesker::test {

class UnixErrorProbe {
public:
  UnixErrorProbe();
  ~UnixErrorProbe();
  UnixErrorProbe(const UnixErrorProbe &) = delete;
  UnixErrorProbe &operator=(const UnixErrorProbe &) = delete;

  std::vector<std::string> paths; // in the order of the calls
};

} // namespace tesker::test
