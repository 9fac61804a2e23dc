#include "platform/foundation/Result.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace tesker {
namespace {

Result<int> half(int number) {
  if (number % 2 != 0)
    return Failure{EDOM};
  return number / 2;
}

Result<> mustBeEven(int number) {
  if (const Result<int> halved = half(number); !halved)
    return halved.failure();
  return {};
}

TEST(ResultTest, AValueIsThereAndNoError) {
  const Result<int> result = half(0);
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, 0);
  EXPECT_EQ(result.error(), 0);
}

TEST(ResultTest, AFailureHasItsReasonAndNoValue) {
  const Result<int> result = half(3);
  EXPECT_FALSE(result);
  EXPECT_EQ(result.error(), EDOM);
}

TEST(ResultTest, AFailureIsHandedOnWhateverTheValueWouldBe) {
  EXPECT_TRUE(mustBeEven(4));
  EXPECT_EQ(mustBeEven(4).error(), 0);
  EXPECT_FALSE(mustBeEven(5));
  EXPECT_EQ(mustBeEven(5).error(), EDOM);
}

TEST(ResultTest, AValueThatCanOnlyBeMovedIsTakenOut) {
  Result<std::unique_ptr<int>> result(std::make_unique<int>(5));
  ASSERT_TRUE(result);
  EXPECT_EQ(**result, 5);
  const std::unique_ptr<int> taken = std::move(*result);
  EXPECT_EQ(*taken, 5);
}

} // namespace
} // namespace tesker
