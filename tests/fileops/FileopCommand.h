// FileopCommand.h - the command tesker-fileop, run as a process.
#pragma once

#include "tests/fileops/FileOperationsTest.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace tesker::test {

struct Ended {
  int status; // the exit status; -1 when a signal ended it
  int signal; // the signal that ended it, or 0
  std::string output;
  std::string errors;
};

class FileopCommand : public FileOperationsTest {
protected:
  // Starts the command with the words, in a process group of its own; it has to be waited for, and
  // only one may run at a time. It finds SIGINT, SIGTERM and SIGHUP as a terminal's programs do,
  // but the ignored one.
  pid_t start(std::vector<std::string> words, int ignored = 0);
  Ended waitFor(pid_t id);
  Ended run(std::vector<std::string> words) { return waitFor(start(std::move(words))); }

  void expectDone(const std::vector<std::string> &words);
  void expectNotDone(const std::vector<std::string> &words, const std::string &errors);
  void expectUsageError(const std::vector<std::string> &words, const std::string &part);
};

} // namespace tesker::test
