// What reading encoded text takes beside the records: texts that a hostile tool could send, whose
// numbers and pieces are many and short.
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSException.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tesker::test {
namespace {

constexpr std::size_t kMany = 1'000'000;

std::string repeated(std::string_view piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i)
    text += piece;
  return text;
}

std::string hexadecimal(std::size_t number) {
  char digits[17];
  return {digits, static_cast<std::size_t>(std::snprintf(digits, sizeof digits, "%zx", number))};
}

// Reads all records and keeps none. Raises where the text is malformed.
std::size_t readThrough(const std::string &text) {
  RecordReader reader(text, NSDefaultMallocZone());
  reader.check();
  std::size_t count = 0;
  while (reader.next())
    ++count;
  return count;
}

// The memory is compared with that of the text itself, which the caller holds.
void expectCheap(const std::string &text, std::size_t records) {
  const AllocationCount allocations;
  EXPECT_EQ(readThrough(text), records);
  EXPECT_LE(allocations.mostBytes(), 2 * text.size() + 100'000);
}

TEST(DecodingMemory, OfEmptyRecordsIsNone) {
  expectCheap("(" + hexadecimal(kMany) + repeated(",0", kMany) + ")", kMany);
}

TEST(DecodingMemory, OfPiecesThatNobodyWantsIsNone) {
  expectCheap(std::string(kMany, '\0') + "(1,1,0,0)", 1);
  expectCheap(repeated(std::string_view("a\0", 2), kMany) + "(0)", 0);
}

TEST(DecodingMemory, OfManyReferencesToOnePieceIsNone) {
  const std::string text =
      std::string("a\0", 2) + "(" + hexadecimal(kMany) + repeated(",1,0,0", kMany) + ")";
  expectCheap(text, kMany);
}

TEST(DecodingMemory, OfTheEncodersTextIsThatOfItsStrings) {
  Records records;
  for (std::size_t i = 0; i < 20'000; ++i)
    records.push_back(recordOf({{"type", "extension"},
                                {"name", "name-of-number-" + std::to_string(i)},
                                {"path", "/Applications/number-" + std::to_string(i / 10)}}));
  const std::string text(encodeParsedApp(records).bytes());
  const std::size_t strings = 22'000 * 80; // objects of their own, that records share
  const AllocationCount allocations;
  EXPECT_EQ(readThrough(text), records.size());
  EXPECT_LE(allocations.mostBytes(), 2 * text.size() + strings);
}

TEST(DecodingMemory, OfARecordIsNotTakenForTheNumberItAnnounces) {
  const std::string text = std::string("a\0", 2) + "(1,ffffffff,0,0)";
  const AllocationCount allocations;
  RecordReader reader(text, NSDefaultMallocZone());
  EXPECT_THROW(reader.next(), NSException);
  EXPECT_LE(allocations.mostBytes(), 100'000U);
}

TEST(DecodingMemory, OfAListInAnotherFormIsBoundByRefusingLongOnes) {
  const std::string shortOne = "(1, " + repeated("0 ,", kLargestForeignList / 3 - 10) + "0)";
  EXPECT_EQ(readThrough(shortOne), 1U);
  const std::string longOne = "(1, " + repeated("0 ,", kLargestForeignList / 3 + 10) + "0)";
  const AllocationCount allocations;
  EXPECT_THROW(readThrough(longOne), NSException);
  EXPECT_LE(allocations.mostBytes(), 100'000U);
}

} // namespace
} // namespace tesker::test
