#include "platform/foundation/Text.h"

#include <gmock/gmock.h>

namespace tesker {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

TEST(TextPiecesTest, SeparatingGivesThePiecesBetweenTheSeparators) {
  EXPECT_THAT(piecesOf("a:b:c", ':'), ElementsAre("a", "b", "c"));
  EXPECT_THAT(piecesOf("a, b,c", ','), ElementsAre("a", " b", "c"));
}

TEST(TextPiecesTest, SeparatingAStringWithoutSeparatorGivesTheWhole) {
  EXPECT_THAT(piecesOf("abc", ':'), ElementsAre("abc"));
  EXPECT_THAT(piecesOf("", ':'), ElementsAre(""));
}

TEST(TextPiecesTest, SeparatingKeepsEmptyPiecesAtTheEndsAndBetweenNeighbours) {
  EXPECT_THAT(piecesOf(":a::b:", ':'), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(piecesOf(":", ':'), ElementsAre("", ""));
}

TEST(TextPiecesTest, SeparatingAtNulCharacters) {
  EXPECT_THAT(piecesOf("a\0\0b"sv, '\0'), ElementsAre("a", "", "b"));
}

TEST(TextPiecesTest, ThePiecesLieInTheText) {
  constexpr std::string_view text = "a:b";
  EXPECT_EQ(piecesOf(text, ':')[1].data(), text.data() + 2);
}

TEST(IsAtOrBelow, ComparesWholeNames) {
  EXPECT_TRUE(isAtOrBelow("/a/b", "/a/b"));
  EXPECT_TRUE(isAtOrBelow("/a/b/c", "/a/b"));
  EXPECT_TRUE(isAtOrBelow("/a/b", "/a/"));
  EXPECT_TRUE(isAtOrBelow("/a", "/"));
  EXPECT_FALSE(isAtOrBelow("/a/bc", "/a/b"));
  EXPECT_FALSE(isAtOrBelow("/a", "/a/b"));
}

TEST(JoinedPath, HasOneSlashBeforeTheName) {
  EXPECT_EQ(joinedPath("/a/b", "c"), "/a/b/c");
  EXPECT_EQ(joinedPath("/", "c"), "/c");
  EXPECT_EQ(joinedPath("a", "b/c"), "a/b/c");
}

} // namespace
} // namespace tesker
