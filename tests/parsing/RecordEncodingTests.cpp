#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"

#include "platform/foundation/NSData.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/Texts.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <initializer_list>
#include <random>
#include <utility>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using namespace std::string_literals;

using Pairs = std::initializer_list<std::pair<std::string_view, std::string_view>>;

Records records(std::initializer_list<Pairs> list) {
  Records made;
  for (const Pairs &pairs : list)
    made.push_back(recordOf(pairs));
  return made;
}

// The encoded text with bars for NUL bytes, to be read by people.
std::string encoded(const Records &list) {
  std::string text(encodeParsedApp(list).bytes());
  std::ranges::replace(text, '\0', '|');
  return text;
}

std::optional<Records> decoded(std::string text) {
  std::ranges::replace(text, '|', '\0');
  return decodeParsedApp(NSString::create(text), NSDefaultMallocZone());
}

TEST(EncodeParsedApp, WritesPoolThenIndexesWithKeysDescending) {
  const auto list = records({{{"path", "/Apps/Edit.app"}, {"type", "app"}, {"name", "Edit"}},
                             {{"path", "/Apps/Mail"}, {"type", "app"}}});
  EXPECT_EQ(encoded(list), "type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|"
                           "(2,3,0,1,2,3,4,5,2,0,1,2,6)");
}

TEST(EncodeParsedApp, AnEmptyListIsOnePieceWithoutSeparator) {
  EXPECT_EQ(encoded(records({})), "(0)");
}

TEST(EncodeParsedApp, ARecordWithoutKeysIsAPairCountOfZero) {
  EXPECT_EQ(encoded(records({{}, {{"a", "b"}}, {}})), "a|b|(3,0,1,0,1,0)");
}

TEST(EncodeParsedApp, AStringServesAsKeyAndAsValueFromOnePoolEntry) {
  EXPECT_EQ(encoded(records({{{"name", "type"}}, {{"type", "name"}}})),
            "name|type|(2,1,0,1,1,1,0)");
}

TEST(EncodeParsedApp, IndexesFromTenOnAreLowerCaseHexadecimal) {
  EXPECT_EQ(encoded(records({{{"a", "1"},
                              {"b", "2"},
                              {"c", "3"},
                              {"d", "4"},
                              {"e", "5"},
                              {"f", "6"},
                              {"g", "7"},
                              {"h", "8"},
                              {"i", "9"}}})),
            "i|9|h|8|g|7|f|6|e|5|d|4|c|3|b|2|a|1|"
            "(1,9,0,1,2,3,4,5,6,7,8,9,a,b,c,d,e,f,10,11)");
}

TEST(EncodeParsedApp, StructuredValuesTravelAsTheirDescriptions) {
  const auto line =
      TKLine::initWithString(NSDefaultMallocZone(), "{ v = { k = (a, \"b c\"); }; w = <0fbd>; }");
  EXPECT_EQ(encoded({line.value()}), "w|<0fbd>|v|{k = (a, \"b c\"); }|(1,2,0,1,2,3)");
}

TEST(EncodeParsedApp, AStringAndDataThatLookAlikeAreTwoPoolEntries) {
  TKLine line = recordOf({{"a", "<0f>"}});
  line.setObjectForKey(NSData::create("\x0f"), "b"_ns);
  EXPECT_EQ(encoded({line}), "b|<0f>|a|<0f>|(1,2,0,1,2,3)");
}

TEST(EncodeParsedApp, RecordsOfTheSameKeysAreWrittenAlikeInWhateverOrderTheyWereSet) {
  EXPECT_EQ(encoded(records({{{"a", "1"}, {"b", "2"}}, {{"b", "3"}, {"a", "4"}}})),
            "b|2|a|1|3|4|(2,2,0,1,2,3,2,0,4,2,5)");
  EXPECT_EQ(encoded(records({{{"a", "1"}, {"b", "2"}}, {{"a", "3"}, {"c", "4"}}})),
            "b|2|a|1|c|4|3|(2,2,0,1,2,3,2,4,5,2,6)");
}

TEST(EncodeParsedApp, EqualKeysOfOtherStringsAreOnePoolEntry) {
  // Keys as a brace line brings them, which are not the parsers' own.
  const auto line = TKLine::initWithString(NSDefaultMallocZone(), "{ a = 3; b = 4; }");
  EXPECT_EQ(encoded({recordOf({{"a", "1"}, {"b", "2"}}), line.value()}),
            "b|2|a|1|4|3|(2,2,0,1,2,3,2,0,4,2,5)");
}

TEST(EncodeParsedApp, KeysAreOrderedByBytesNotByLetters) {
  EXPECT_EQ(encoded(records({{{"b", "1"}, {"B", "2"}, {"\xc3\xa9", "3"}}})),
            "\xc3\xa9|3|b|1|B|2|(1,3,0,1,2,3,4,5)");
}

TEST(EncodeParsedApp, BytesTravelUnchanged) {
  EXPECT_EQ(encoded(records({{{"path", "/tmp/\xff\xfe\n\x01"}}})),
            "path|/tmp/\xff\xfe\n\x01|(1,1,0,1)");
}

TEST(DecodeParsedApp, EmptyTextIsAnEmptyListNotNil) {
  EXPECT_THAT(decoded(""), Optional(IsEmpty()));
}

TEST(DecodeParsedApp, ZeroRecordsAreAnEmptyList) {
  EXPECT_THAT(decoded("(0)"), Optional(IsEmpty()));
}

TEST(DecodeParsedApp, AcceptsWhatTheEncoderWrites) {
  const auto list = decoded("type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|"
                            "(2,3,0,1,2,3,4,5,2,0,1,2,6)");
  ASSERT_TRUE(list);
  ASSERT_EQ(list->size(), 2U);
  EXPECT_EQ(textOf(list->front()), "{type = app; path = \"/Apps/Edit.app\"; name = Edit; }");
  EXPECT_EQ(textOf(list->back()), "{type = app; path = \"/Apps/Mail\"; }");
}

TEST(DecodeParsedApp, ARecordWithoutPairsIsAnEmptyTKLine) {
  EXPECT_EQ(decoded("(1,0)"), records({{}}));
}

TEST(DecodeParsedApp, MakesItsRecordsInTheGivenZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    const auto list = decodeParsedApp("a\0b\0(1,1,0,1)"_ns, zone);
    ASSERT_TRUE(list);
    EXPECT_GT(zone.bytesInUse(), 0U);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(DecodeParsedApp, NumbersAfterTheLastRecordAreIgnored) {
  EXPECT_EQ(decoded("a|b|(1,1,0,1,7,ffff)"), records({{{"a", "b"}}}));
}

TEST(DecodeParsedApp, AStructuredValueComesBackAsItsText) {
  EXPECT_EQ(decoded("v|(a, b)|(1,1,0,1)"), records({{{"v", "(a, b)"}}}));
}

TEST(DecodeParsedApp, AKeyIndexAtTheIndexListIsLoggedAndGivesNil) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,2,1)"));
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '2' yielded 2"));
}

TEST(DecodeParsedApp, AValueIndexAtTheIndexListIsLoggedAndGivesNil) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,0,2)"));
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '2' yielded 2"));
}

TEST(DecodeParsedApp, ABadIndexIsPrintedAsSigned32Bits) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,ffffffff,1)"));
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: 'ffffffff' yielded -1"));
}

TEST(DecodeParsedApp, OnlyTheFirstBadIndexIsLogged) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,9,9)"));
  EXPECT_EQ(log.syslogged.size(), 1U);
}

TEST(DecodeParsedApp, OfTwoBadIndexesInOnePairTheKeysIsLogged) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,8,9)"));
  EXPECT_FALSE(decoded("a|b|(1,1,9,8)"));
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '8' yielded 8",
                                         "==== Applications Finder: '9' yielded 9"));
}

TEST(DecodeParsedApp, APairIsReadWholeBeforeItsIndexesAreTested) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(1,1,9)")) << "ends in a value's place";
  EXPECT_FALSE(decoded("a|b|(1,1,9,(0))")) << "a value token that is not a string";
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(DecodeParsedApp, AListWithoutAPoolHasNoValidIndex) {
  LogCapture log;
  EXPECT_FALSE(decoded("(1,1,0,0)"));
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '0' yielded 0"));
}

TEST(DecodeParsedApp, OtherMalformedTextGivesNilWithoutAMessage) {
  LogCapture log;
  EXPECT_FALSE(decoded("a|b|(2,1,0,1)")) << "ends in a record's place";
  EXPECT_FALSE(decoded("a|b|(1,2,0,1)")) << "ends in a pair's place";
  EXPECT_FALSE(decoded("a|b|(1,1,0)")) << "ends in a value's place";
  EXPECT_FALSE(decoded("a|b|()")) << "no record count";
  EXPECT_FALSE(decoded("a|b|{1 = 1; }")) << "not a list";
  EXPECT_FALSE(decoded("a|b|word")) << "not a list";
  EXPECT_FALSE(decoded("a|b|(1,1,0,1")) << "not closed";
  EXPECT_FALSE(decoded("a|b|")) << "empty last piece";
  EXPECT_FALSE(decoded("a|b|(1,1,(0),1)")) << "a token that is not a string";
  EXPECT_THAT(log.syslogged, IsEmpty());
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST(DecodeParsedApp, HugeAnnouncedCountsCostNothing) {
  EXPECT_FALSE(decoded("a|b|(ffffffff)"));
  EXPECT_FALSE(decoded("a|b|(1,ffffffff,0,1)"));
}

TEST(DecodeParsedApp, EveryTruncationOfAGoodTextIsSafe) {
  LogCapture log;
  const std::string text = "type\0app\0path\0/Apps/Edit.app\0name\0Edit\0(1,3,0,1,2,3,4,5)"s;
  for (std::size_t length = 0; length < text.size(); ++length)
    (void)decodeParsedApp(NSString::create(text.substr(0, length)), NSDefaultMallocZone());
}

TEST(RecordText, ReaderAcceptsExactlyWhatTheWriterProduces) {
  std::mt19937 random(20240611);
  const auto word = [&] {
    std::string made;
    for (auto length = random() % 6; length > 0; --length)
      made += static_cast<char>(1 + random() % 255);
    return made;
  };
  for (int round = 0; round < 300; ++round) {
    Records list;
    for (auto count = random() % 8; count > 0; --count) {
      TKLine &line = list.emplace_back(TKLine::create());
      for (auto pairs = random() % 24; pairs > 0; --pairs)
        line.set(NSString::create(word()), NSString::create(word()));
    }
    const auto back = decodeParsedApp(encodeParsedApp(list), NSDefaultMallocZone());
    ASSERT_TRUE(back) << "round " << round;
    EXPECT_EQ(*back, list) << "round " << round;
    EXPECT_EQ(encodeParsedApp(*back), encodeParsedApp(list));
  }
}

TEST(DecodeHexInt, ReadsLowerCaseDigits) {
  EXPECT_EQ(decodeHexInt(""), 0U);
  EXPECT_EQ(decodeHexInt("0"), 0U);
  EXPECT_EQ(decodeHexInt("ff"), 255U);
  EXPECT_EQ(decodeHexInt("1a2b3c4d"), 0x1a2b3c4dU);
}

TEST(DecodeHexInt, UpperCaseDigitsYieldAWrongValueOnPurpose) {
  // Each F counts as 70 - 87 = -17.
  EXPECT_EQ(decodeHexInt("FF"), static_cast<std::uint32_t>(-17 * 16 - 17));
}

TEST(DecodeHexInt, WrapsModulo32Bits) {
  EXPECT_EQ(decodeHexInt("100000001"), 1U);
  EXPECT_EQ(decodeHexInt("fffffffff"), 0xffffffffU);
}

TEST(DecodeHexInt, BytesCountUnsigned) { EXPECT_EQ(decodeHexInt("\xff"), 255U - 87U); }

} // namespace
} // namespace tesker::test
