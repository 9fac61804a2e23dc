// FaultyOperatingSystem.h - real system calls, of which a chosen one fails.
//
// Calls of the chosen kinds are counted from 1. The one whose number was chosen fails with the
// error, without being made; and all after it, if wanted, that can fail like that.
#pragma once

#include "tests/support/CountingOperatingSystem.h"

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker::test {

class FaultyOperatingSystem : public CountingOperatingSystem {
public:
  struct Fault {
    std::size_t call = 0; // 0: none
    int error = 0;
    bool andAllAfter = false;
  };
  // Whether a call of that name counts, and may fail with the error; 0: with any.
  using Kinds = std::function<bool(std::string_view call, int error)>;

  // Those that read files and directories, unless told otherwise.
  explicit FaultyOperatingSystem(Kinds kinds = isReading) : kinds_(std::move(kinds)) {}

  Fault fault;
  // What was called, in order: lines as CountingOperatingSystem writes them, and "next /dir" for
  // the names of a directory.
  std::vector<std::string> calls;
  std::vector<std::string> failures; // those of them that failed

  static bool isReading(std::string_view call, int) {
    return call == "statAt" || call == "statDescriptor" || call == "open" || call == "readAt" ||
           call == "openDirectory" || call == "next";
  }

protected:
  bool mayBeMade(const std::string &call) override {
    const std::string_view name = std::string_view(call).substr(0, call.find(' '));
    if (!kinds_(name, 0))
      return true;
    calls.push_back(call);
    const bool isMeant = fault.call != 0 && (calls.size() == fault.call ||
                                             (fault.andAllAfter && calls.size() > fault.call));
    if (!isMeant || !kinds_(name, fault.error))
      return true;
    failures.push_back(call);
    errno = fault.error;
    return false;
  }

private:
  Kinds kinds_;
};

} // namespace tesker::test
