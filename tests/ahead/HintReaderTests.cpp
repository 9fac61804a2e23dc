// Hints of a master, out of the bytes that come.
#include "ahead/HintReader.h"
#include "parsing/ReadAheadHints.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tesker::test {
namespace {

using namespace std::string_view_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Hints : public testing::Test {
protected:
  std::vector<std::string> told_;
  HintReader reader_{
      {.searchPath =
           [this](std::string_view path) { told_.emplace_back("s " + std::string(path)); },
       .progress =
           [this](std::uint64_t entries, std::string_view directory) {
             told_.emplace_back(std::to_string(entries) + " in " + std::string(directory));
           }}};
};

TEST_F(Hints, AreTakenInPartsOfAnySize) {
  const std::string bytes = searchPathHint("/a b\nc") + searchPathHint("") +
                            progressHint(18'446'744'073'709'551'615U, "/a b\nc/ d");
  for (const char byte : bytes)
    reader_.take({&byte, 1});
  EXPECT_THAT(told_, ElementsAre("s /a b\nc", "s ", "18446744073709551615 in /a b\nc/ d"));
  told_.clear();
  reader_.take(bytes);
  EXPECT_EQ(told_.size(), 3U);
}

TEST_F(Hints, ThatAreNotUnderstoodArePassedOver) {
  reader_.take("x /a\0s\0\0p /a\0p 1\0p 18446744073709551616 /a\0p -1 /a\0pp\0"sv);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(Hints, ThatAreTooLongArePassedOverAndNotKept) {
  reader_.take("s /");
  for (int i = 0; i < 100; ++i)
    reader_.take(std::string(1000, 'a'));
  reader_.take(std::string("\0"sv) + searchPathHint("/next"));
  EXPECT_THAT(told_, ElementsAre("s /next"));
}

} // namespace
} // namespace tesker::test
