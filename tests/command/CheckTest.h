// CheckTest.h - what checkFile says of a file in a directory of its own.
#pragma once

#include "command/Check.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

class CheckTest : public ::testing::Test {
protected:
  CheckTest() { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  std::vector<Finding> findings(std::string_view name,
                                std::optional<DescriptionKind> kind = std::nullopt) const {
    Findings all;
    EXPECT_TRUE(checkFile(directory_.path(name), kind, [&](const Finding &finding) {
      all.add(finding);
    })) << name;
    return std::move(all).sorted();
  }

  // "NAME:LINE:COLUMN error WORD", a line for each, less what there is not.
  std::string said(std::string_view name,
                   std::optional<DescriptionKind> kind = std::nullopt) const {
    std::string text;
    for (const Finding &finding : findings(name, kind)) {
      text += finding.file.substr(directory_.path().size() + 1);
      if (finding.line != 0)
        text += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
      text += (finding.isError ? " error " : " warning ") + finding.word + "\n";
    }
    return text;
  }

  const TemporaryDirectory directory_;
};

inline bool hasErrors(const std::vector<Finding> &findings) {
  for (const Finding &finding : findings)
    if (finding.isError)
      return true;
  return false;
}

} // namespace tesker::test
