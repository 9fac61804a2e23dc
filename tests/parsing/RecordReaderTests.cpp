#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// With bars for NUL bytes.
std::string text(std::string_view bars) {
  std::string bytes(bars);
  std::ranges::replace(bytes, '|', '\0');
  return bytes;
}

TEST(RecordReader, GivesOneRecordAfterTheOther) {
  const std::string bytes = text("a|b|c|(2,1,0,1,2,0,2,1,0,9,9)");
  RecordReader reader(bytes, NSDefaultMallocZone());
  EXPECT_EQ(reader.count(), 2U);
  EXPECT_EQ(textOf(reader.next().value()), "{a = b; }");
  EXPECT_EQ(textOf(reader.next().value()), "{a = c; b = a; }");
  EXPECT_FALSE(reader.next());
  EXPECT_FALSE(reader.next());
}

TEST(RecordReader, ChecksAllOfItAndBeginsAgain) {
  const std::string bytes = text("a|b|(2,1,0,1,1,1,0)");
  RecordReader reader(bytes, NSDefaultMallocZone());
  reader.check();
  EXPECT_EQ(textOf(reader.next().value()), "{a = b; }");
  EXPECT_EQ(textOf(reader.next().value()), "{b = a; }");
  EXPECT_FALSE(reader.next());
}

TEST(RecordReader, RaisesAtABadIndexAndLogsItsTextOnce) {
  for (const char *bars : {"a|b|(2,1,0,1,1,0,2)", "a|b|(2, 1, 0, 1, 1, 0, \"2\")"}) {
    const LogCapture log;
    const std::string bytes = text(bars);
    RecordReader reader(bytes, NSDefaultMallocZone());
    EXPECT_TRUE(reader.next());
    EXPECT_THROW(reader.next(), NSException);
    EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '2' yielded 2"));
  }
}

TEST(RecordReader, RaisesAtAnEndThatComesTooEarly) {
  const LogCapture log;
  for (const char *bars : {"a|(1)", "a|(1,1)", "a|(1,1,0)", "a|(2,1,0,0)", "a|()", "a|( )"}) {
    const std::string bytes = text(bars);
    EXPECT_THROW(RecordReader(bytes, NSDefaultMallocZone()).check(), NSException) << bars;
  }
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(RecordReader, TakesAnyPropertyListOfStringsForAList) {
  for (const char *bars : {"a|b|(1,1,0,1)", "a|b|( 1 , 1,0,1 )", "a|b|(1,\"1\",0,1)",
                           "a|b|/*x*/(1,1,0,1)", "a|b|(1,1,0,1,(x))", "a|b|(01,1,0,001)"}) {
    const std::string bytes = text(bars);
    RecordReader reader(bytes, NSDefaultMallocZone());
    EXPECT_EQ(textOf(reader.next().value()), "{a = b; }") << bars;
  }
}

TEST(RecordReader, RaisesWhereTheLastPieceIsNotAList) {
  for (const char *bars :
       {"a|b", "a|", "a|{}", "a|(1,1", "a|(0,,0)", "a|(,0)", "(", ")", "a|(0)x", "a|(//0)"}) {
    const std::string bytes = text(bars);
    EXPECT_THROW(RecordReader(bytes, NSDefaultMallocZone()).check(), NSException) << bars;
  }
}

TEST(RecordReader, GoesOnInItsPlaceWhereTheListTakesAnotherForm) {
  for (const char *bars : {"a|b|(2,1,0,1,1,0,1)", "a|b|(2,1,0,1, 1,0,1)", "a|b|(2,1,0,1,1,0,1 )",
                           "a|b|(2,1,0,1,1,\"0\",1,)", "a|b|(2,1,0,1,1 /*,*/,0,1)"}) {
    const std::string bytes = text(bars);
    RecordReader reader(bytes, NSDefaultMallocZone());
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(textOf(reader.next().value()), "{a = b; }") << bars;
    EXPECT_FALSE(reader.next()) << bars;
  }
}

TEST(RecordReader, RaisesWhereTheListIsMalformedBehindTheLastRecord) {
  for (const char *bars : {"a|b|(1,1,0,1,,)", "a|b|(1,1,0,1,0)x)", "a|b|(1,1,0,1,0;)"}) {
    const std::string bytes = text(bars);
    RecordReader reader(bytes, NSDefaultMallocZone());
    EXPECT_TRUE(reader.next()) << bars;
    EXPECT_THROW((void)reader.next(), NSException) << bars;
    EXPECT_THROW(RecordReader(bytes, NSDefaultMallocZone()).check(), NSException) << bars;
  }
}

TEST(RecordReader, SaysNothingOfABadIndexInWhatIsNotAList) {
  const LogCapture log;
  for (const char *bars : {"a|b|(1,1,7,1,,)", "a|b|(1,1,0,7)x)", "a|b|(1,1,7,7;)"}) {
    const std::string bytes = text(bars);
    EXPECT_THROW((void)RecordReader(bytes, NSDefaultMallocZone()).next(), NSException) << bars;
  }
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(RecordReader, FindsEveryPieceOfALargePool) {
  Records records;
  for (int i = 0; i < 3000; ++i)
    records.push_back(recordOf({{"k", "v" + std::to_string(i)}}));
  const std::string forward(encodeParsedApp(records).bytes());
  std::string backward = forward.substr(0, forward.rfind('\0') + 1) + "(bb8";
  for (std::size_t i = 3000; i > 0; --i) {
    char number[32];
    std::snprintf(number, sizeof number, ",1,0,%zx", i);
    backward += number;
  }
  backward += ")";
  RecordReader reader(backward, NSDefaultMallocZone());
  for (std::size_t i = records.size(); i-- > 0;)
    EXPECT_EQ(reader.next().value(), records[i]);
}

} // namespace
} // namespace tesker::test
