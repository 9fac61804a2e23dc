#include "parsing/RecordEncoding.h"

#include "parsing/TKLine.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSException.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <initializer_list>
#include <random>
#include <utility>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

using Pairs = std::initializer_list<std::pair<std::string_view, std::string_view>>;

Ref<TKLine> record(Pairs pairs) {
  auto made = TKLine::create(pairs.size());
  for (const auto &[key, value] : pairs)
    made->set(key, value);
  return made;
}

Ref<NSMutableArray> records(std::initializer_list<Pairs> list) {
  auto made = NSMutableArray::create();
  for (const Pairs &pairs : list)
    made->addObject(record(pairs));
  return made;
}

// The encoded text with bars for NUL bytes, to be read by people.
std::string encoded(const NSArray &list) {
  std::string text(encodeParsedApp(list)->bytes());
  for (char &byte : text)
    byte = byte == '\0' ? '|' : byte;
  return text;
}

RefPtr<NSMutableArray> decoded(std::string text) {
  for (char &byte : text)
    byte = byte == '|' ? '\0' : byte;
  return decodeParsedApp(*NSString::create(text), NSDefaultMallocZone());
}

std::string described(std::string text) {
  const auto list = decoded(std::move(text));
  return list ? std::string(list->description()->bytes()) : "(nil)";
}

TEST(EncodeParsedApp, WritesPoolThenIndexesWithKeysDescending) {
  const auto list = records({{{"path", "/Apps/Edit.app"}, {"type", "app"}, {"name", "Edit"}},
                             {{"path", "/Apps/Mail"}, {"type", "app"}}});
  EXPECT_EQ(encoded(*list), "type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|"
                            "(2,3,0,1,2,3,4,5,2,0,1,2,6)");
}

TEST(EncodeParsedApp, AnEmptyListIsOnePieceWithoutSeparator) {
  EXPECT_EQ(encoded(*records({})), "(0)");
}

TEST(EncodeParsedApp, ARecordWithoutKeysIsAPairCountOfZero) {
  EXPECT_EQ(encoded(*records({{}, {{"a", "b"}}, {}})), "a|b|(3,0,1,0,1,0)");
}

TEST(EncodeParsedApp, AStringServesAsKeyAndAsValueFromOnePoolEntry) {
  EXPECT_EQ(encoded(*records({{{"name", "type"}}, {{"type", "name"}}})),
            "name|type|(2,1,0,1,1,1,0)");
}

TEST(EncodeParsedApp, IndexesFromTenOnAreLowerCaseHexadecimal) {
  EXPECT_EQ(encoded(*records({{{"a", "1"},
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
  auto line =
      TKLine::initWithString(NSDefaultMallocZone(), "{ v = { k = (a, \"b c\"); }; w = <0fbd>; }");
  auto list = NSMutableArray::create();
  list->addObject(line);
  EXPECT_EQ(encoded(*list), "w|<0fbd>|v|{k = (a, \"b c\"); }|(1,2,0,1,2,3)");
}

TEST(EncodeParsedApp, AStringAndDataThatLookAlikeAreTwoPoolEntries) {
  auto line = TKLine::create();
  line->set("a", "<0f>");
  line->set("b", RefPtr<NSObject>(NSData::create("\x0f")));
  auto list = NSMutableArray::create();
  list->addObject(line);
  EXPECT_EQ(encoded(*list), "b|<0f>|a|<0f>|(1,2,0,1,2,3)");
}

TEST(EncodeParsedApp, KeysAreOrderedByBytesNotByLetters) {
  EXPECT_EQ(encoded(*records({{{"b", "1"}, {"B", "2"}, {"\xc3\xa9", "3"}}})),
            "\xc3\xa9|3|b|1|B|2|(1,3,0,1,2,3,4,5)");
}

TEST(EncodeParsedApp, BytesTravelUnchanged) {
  EXPECT_EQ(encoded(*records({{{"path", "/tmp/\xff\xfe\n\x01"}}})),
            "path|/tmp/\xff\xfe\n\x01|(1,1,0,1)");
}

TEST(EncodeParsedApp, AnElementThatIsNoDictionaryRaises) {
  auto list = NSMutableArray::create();
  list->addObject(NSString::create("text"));
  EXPECT_THROW((void)encodeParsedApp(*list), NSException);
}

TEST(DecodeParsedApp, EmptyTextIsAnEmptyListNotNil) { EXPECT_EQ(described(""), "()"); }

TEST(DecodeParsedApp, ZeroRecordsAreAnEmptyList) { EXPECT_EQ(described("(0)"), "()"); }

TEST(DecodeParsedApp, AcceptsWhatTheEncoderWrites) {
  EXPECT_EQ(described("type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|"
                      "(2,3,0,1,2,3,4,5,2,0,1,2,6)"),
            "({type = app; path = \"/Apps/Edit.app\"; name = Edit; }, "
            "{type = app; path = \"/Apps/Mail\"; })");
}

TEST(DecodeParsedApp, ARecordWithoutPairsIsAnEmptyTKLine) {
  const auto list = decoded("(1,0)");
  ASSERT_TRUE(list);
  ASSERT_EQ(list->count(), 1U);
  const auto line = as<TKLine>(list->objectAtIndex(0));
  ASSERT_TRUE(line);
  EXPECT_EQ(line->count(), 0U);
}

TEST(DecodeParsedApp, MakesItsRecordsInTheGivenZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  const auto list = decodeParsedApp(*NSString::create("a\0b\0(1,1,0,1)"s), zone);
  ASSERT_TRUE(list);
  EXPECT_EQ(&list->objectAtIndex(0)->zone(), &zone);
}

TEST(DecodeParsedApp, NumbersAfterTheLastRecordAreIgnored) {
  EXPECT_EQ(described("a|b|(1,1,0,1,7,ffff)"), "({a = b; })");
}

TEST(DecodeParsedApp, AStructuredValueComesBackAsItsText) {
  const auto list = decoded("v|(a, b)|(1,1,0,1)");
  ASSERT_TRUE(list);
  const auto value = as<TKLine>(list->objectAtIndex(0))->objectForKey("v");
  EXPECT_TRUE(isEqual(as<NSString>(value).get(), "(a, b)"));
}

TEST(DecodeParsedApp, AKeyIndexAtTheIndexListIsLoggedAndGivesNil) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(1,1,2,1)"), "(nil)");
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '2' yielded 2"));
}

TEST(DecodeParsedApp, AValueIndexAtTheIndexListIsLoggedAndGivesNil) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(1,1,0,2)"), "(nil)");
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '2' yielded 2"));
}

TEST(DecodeParsedApp, ABadIndexIsPrintedAsSigned32Bits) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(1,1,ffffffff,1)"), "(nil)");
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: 'ffffffff' yielded -1"));
}

TEST(DecodeParsedApp, OnlyTheFirstBadIndexIsLogged) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(1,1,9,9)"), "(nil)");
  EXPECT_EQ(log.syslogged.size(), 1U);
}

TEST(DecodeParsedApp, APairIsReadWholeBeforeItsIndexesAreTested) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(1,1,9)"), "(nil)") << "ends in a value's place";
  EXPECT_EQ(described("a|b|(1,1,9,(0))"), "(nil)") << "a value token that is no string";
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(DecodeParsedApp, AListWithoutAPoolHasNoValidIndex) {
  test::LogCapture log;
  EXPECT_EQ(described("(1,1,0,0)"), "(nil)");
  EXPECT_THAT(log.syslogged, ElementsAre("==== Applications Finder: '0' yielded 0"));
}

TEST(DecodeParsedApp, OtherMalformedTextGivesNilWithoutAMessage) {
  test::LogCapture log;
  EXPECT_EQ(described("a|b|(2,1,0,1)"), "(nil)") << "ends in a record's place";
  EXPECT_EQ(described("a|b|(1,2,0,1)"), "(nil)") << "ends in a pair's place";
  EXPECT_EQ(described("a|b|(1,1,0)"), "(nil)") << "ends in a value's place";
  EXPECT_EQ(described("a|b|()"), "(nil)") << "no record count";
  EXPECT_EQ(described("a|b|{1 = 1; }"), "(nil)") << "no list";
  EXPECT_EQ(described("a|b|word"), "(nil)") << "no list";
  EXPECT_EQ(described("a|b|(1,1,0,1"), "(nil)") << "not closed";
  EXPECT_EQ(described("a|b|"), "(nil)") << "empty last piece";
  EXPECT_EQ(described("a|b|(1,1,(0),1)"), "(nil)") << "a token that is no string";
  EXPECT_THAT(log.syslogged, IsEmpty());
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST(DecodeParsedApp, HugeAnnouncedCountsCostNothing) {
  EXPECT_EQ(described("a|b|(ffffffff)"), "(nil)");
  EXPECT_EQ(described("a|b|(1,ffffffff,0,1)"), "(nil)");
}

TEST(DecodeParsedApp, EveryTruncationOfAGoodTextIsSafe) {
  test::LogCapture log;
  const std::string text = "type\0app\0path\0/Apps/Edit.app\0name\0Edit\0(1,3,0,1,2,3,4,5)"s;
  for (std::size_t length = 0; length < text.size(); ++length)
    (void)decodeParsedApp(*NSString::create(text.substr(0, length)), NSDefaultMallocZone());
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
    auto list = NSMutableArray::create();
    for (auto count = random() % 8; count > 0; --count) {
      auto line = TKLine::create();
      for (auto pairs = random() % 24; pairs > 0; --pairs)
        line->set(word(), word());
      list->addObject(line);
    }
    const auto back = decodeParsedApp(*encodeParsedApp(*list), NSDefaultMallocZone());
    ASSERT_TRUE(back) << "round " << round;
    EXPECT_TRUE(back->isEqual(&*list)) << "round " << round;
    EXPECT_TRUE(encodeParsedApp(*back)->isEqual(&*encodeParsedApp(*list)));
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
} // namespace tesker
