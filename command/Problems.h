// Problems.h - what went wrong in a run, as far as its JSON tells of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

// An error message, or a line of the tool's log.
struct Problem {
  std::optional<std::string> path; // bytes: what it is about; nothing where it is not one path
  std::string text;                // of a log line: bytes
};

class Problems {
public:
  static constexpr std::size_t kMost = 10'000; // of either; what comes later is not kept

  void addError(Problem error) { add(errors_, std::move(error)); }
  void addLogLine(Problem line) { add(log_, std::move(line)); }

  const std::vector<Problem> &errors() const { return errors_; }
  const std::vector<Problem> &log() const { return log_; }
  bool empty() const { return errors_.empty() && log_.empty(); }

private:
  static void add(std::vector<Problem> &list, Problem problem) {
    if (list.size() < kMost)
      list.push_back(std::move(problem));
  }
  std::vector<Problem> errors_;
  std::vector<Problem> log_;
};

} // namespace tesker
