// JudgementTest.h - a tree, searched while a judge listens.
#pragma once

#include "examples/MachOWriter.h"
#include "finding/ApplicationWalk.h"
#include "tests/support/KeptJudgements.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace tesker::test {

inline std::string imageOf(const examples::Processor &processor, std::string_view header) {
  return examples::MachOWriter(processor).addSection("__ICON", "__header", header).bytes();
}

inline const std::string kDescribing = imageOf(examples::kI386, "F\tOne\tApplication\ticon\n");

class JudgementTest : public ::testing::Test {
protected:
  JudgementTest() { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  void search(std::string_view name = "tree") {
    ApplicationWalk walk([] {});
    walk.doForPath(directory_.string(name));
    records_ = walk.lines().size();
    EXPECT_EQ(judgements_.records(), records_);
  }
  // Of a wrapper with that description.
  void searchWrapper(std::string_view list) {
    directory_.writeFile("tree/Foo.app/Resources/Info-quorvale.plist", list);
    search();
  }
  std::string said(std::string_view name) const { return judgements_.of(directory_.path(name)); }
  Remark remarkOn(std::string_view name, JudgementCode code) const {
    return judgements_.remarkOn(directory_.path(name), code);
  }

  const TemporaryDirectory directory_;
  const LogCapture log_;
  KeptJudgements judgements_;
  std::size_t records_ = 0;
};

} // namespace tesker::test
