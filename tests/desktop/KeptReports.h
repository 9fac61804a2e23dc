// KeptReports.h - what was reported, for a test to look at.
#pragma once

#include "desktop/Reports.h"

#include <string>
#include <vector>

namespace tesker::test {

class KeptReports final : public Reports {
public:
  void note(const std::string &path, std::string_view text) override {
    notes.push_back(path + ": " + std::string(text));
  }
  void fail(const std::string &path, std::string_view text) override {
    failures.push_back(path + ": " + std::string(text));
  }
  std::vector<std::string> notes;
  std::vector<std::string> failures;
};

} // namespace tesker::test
