#include "command/RecordJSON.h"
#include "command/ResultWriter.h"
#include "parsing/RecordEncoding.h"
#include "parsing/TKLine.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>
#include <random>

namespace tesker::test {
namespace {

using testing::HasSubstr;

Ref<NSMutableArray> arrayOf(std::initializer_list<Ref<TKLine>> records) {
  const Ref<NSMutableArray> array = NSMutableArray::create();
  for (const Ref<TKLine> &record : records)
    array->addObject(record);
  return array;
}

Ref<TKLine> recordOf(std::initializer_list<std::pair<std::string, std::string>> pairs) {
  const Ref<TKLine> record = TKLine::create();
  for (const auto &[key, value] : pairs)
    record->set(key, value);
  return record;
}

// What a writer prints for the results.
std::string printed(Format format, const std::vector<SearchResult> &results) {
  return captured([&](Output &output) {
    const std::unique_ptr<ResultWriter> writer = makeResultWriter(format, output);
    writer->begin();
    for (const SearchResult &result : results)
      writer->add(result);
    writer->end();
  });
}

SearchResult resultOf(const char *request, const char *key, const RefPtr<NSMutableArray> &records) {
  return {request, key == nullptr ? nullptr : RefPtr<NSString>(NSString::create(key)),
          records ? RefPtr<NSString>(encodeParsedApp(*records)) : nullptr, records};
}

std::string documentWith(const std::string &record) {
  return R"({"schema":1,"results":[{"request":"decode","key":null,"unchanged":false,"records":[)" +
         record + "]}]}";
}

std::string problemOf(const std::string &document) {
  try {
    (void)recordsFromJSON(document);
  } catch (const JSONError &error) {
    return error.what();
  }
  return "no problem";
}

// ---- writing ----

TEST(RecordJSON, PutsPairsIntoAMemberOfTheirOwnSoThatNoKeyIsReserved) {
  EXPECT_EQ(recordAsJSON(*recordOf({{"pairs", "1"}, {"otherPairs", "2"}, {"key", "3"}, {"", "4"}})),
            R"({"pairs":{"":"4","key":"3","otherPairs":"2","pairs":"1"}})");
}

TEST(RecordJSON, WritesBytesThatAreNoUtf8AsHexadecimal) {
  EXPECT_EQ(recordAsJSON(*recordOf({{"name", "a\xFF"}})), R"({"pairs":{"name":{"hex":"61ff"}}})");
  EXPECT_EQ(
      recordAsJSON(*recordOf({{"\xFF", "x"}, {"\xFE", "\xFD"}})),
      R"({"otherPairs":[{"key":{"hex":"ff"},"value":"x"},{"key":{"hex":"fe"},"value":{"hex":"fd"}}],"pairs":{}})");
}

TEST(RecordJSON, EscapesControlCharacters) {
  EXPECT_EQ(textAsJSON("a\n\x1b\""), R"("a\n\u001b\"")");
}

TEST(ResultWriter, PrintsOneJSONDocumentWithARecordOnALine) {
  EXPECT_EQ(printed(Format::json,
                    {resultOf("list", "/Apps", arrayOf({recordOf({{"a", "1"}}), recordOf({})})),
                     resultOf("list", "/None", arrayOf({})), resultOf("dock", "Dock", nullptr)}),
            R"({"schema":1,"results":[
{"request":"list","key":"/Apps","unchanged":false,"records":[
{"pairs":{"a":"1"}},
{"pairs":{}}
]},
{"request":"list","key":"/None","unchanged":false,"records":[]},
{"request":"dock","key":"Dock","unchanged":true,"records":[]}
]}
)");
}

TEST(ResultWriter, PrintsADocumentWithoutResultsWhenThereIsNone) {
  EXPECT_EQ(
      recordsFromJSON(printed(Format::json, {resultOf("decode", nullptr, arrayOf({}))}))->count(),
      0u);
  EXPECT_EQ(printed(Format::json, {}), "{\"schema\":1,\"results\":[\n]}\n");
}

TEST(ResultWriter, PrintsOneRecordALineWithItsKey) {
  EXPECT_EQ(printed(Format::jsonl,
                    {resultOf("list", "/A\xFF", arrayOf({recordOf({{"a", "1"}}), recordOf({})})),
                     resultOf("list", "/None", arrayOf({})), resultOf("list", "/Same", nullptr)}),
            R"({"schema":1,"request":"list","key":{"hex":"2f41ff"},"record":{"pairs":{"a":"1"}}}
{"schema":1,"request":"list","key":{"hex":"2f41ff"},"record":{"pairs":{}}}
{"schema":1,"request":"list","key":"/Same","unchanged":true}
)");
}

TEST(ResultWriter, AddsNothingToARawAnswer) {
  EXPECT_EQ(printed(Format::raw, {resultOf("list", "/A", arrayOf({recordOf({{"a", "\xFF"}})}))}),
            std::string("a\0\xFF\0(1,1,0,1)", 13));
  EXPECT_EQ(printed(Format::raw, {resultOf("list", "/A", nullptr)}), "");
}

// ---- reading ----

void expectRoundTrip(const Ref<NSMutableArray> &records) {
  const Ref<NSString> text = encodeParsedApp(*records);
  const RefPtr<NSMutableArray> decoded = decodeParsedApp(*text, NSDefaultMallocZone());
  const std::string document = printed(Format::json, {resultOf("decode", nullptr, decoded)});
  const Ref<NSMutableArray> back = recordsFromJSON(document);
  EXPECT_TRUE(encodeParsedApp(*back)->bytes() == text->bytes());
}

TEST(RecordJSON, ReadsBackWhatItWrote) {
  expectRoundTrip(arrayOf({}));
  expectRoundTrip(arrayOf({recordOf({})}));
  expectRoundTrip(
      arrayOf({recordOf({{"type", "app"}, {"path", "/A\xC3\xA4\xFF"}}),
               recordOf({{"\xFF\"\\", "{\"hex\":\"00\"}"}, {"", ""}, {"(1)", "\n\x1b"}}),
               recordOf({{"type", "app"}})}));
}

TEST(RecordJSON, ReadsBackWhatItWroteOfAnyBytes) {
  std::mt19937 random(1);
  const auto text = [&] {
    std::string bytes(random() % 12, '\0');
    for (char &byte : bytes)
      byte = static_cast<char>(random() % 255 + 1);
    return bytes;
  };
  for (int round = 0; round < 200; ++round) {
    const Ref<NSMutableArray> records = NSMutableArray::create();
    for (std::size_t i = random() % 5; i > 0; --i) {
      const Ref<TKLine> record = TKLine::create();
      for (std::size_t j = random() % 6; j > 0; --j)
        record->set(text(), text());
      records->addObject(record);
    }
    expectRoundTrip(records);
  }
}

TEST(RecordJSON, AcceptsEitherFormOfTextEverywhere) {
  const Ref<NSMutableArray> records = recordsFromJSON(
      documentWith(R"({"pairs":{"a":{"hex":"4A4b"}},"otherPairs":[{"key":"b","value":"c"}]})"));
  const auto &record = *as<NSDictionary>(&*records->objectAtIndex(0));
  EXPECT_EQ(record.objectForKey("a")->description()->bytes(), "JK");
  EXPECT_EQ(record.objectForKey("b")->description()->bytes(), "c");
}

TEST(RecordJSON, RefusesANulThatNoEncodedTextCanCarry) {
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{"name":"a\u0000b"}})")),
            "record 1, key \"name\": a NUL inside a key or value cannot be encoded");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{}},{"pairs":{"n":{"hex":"00"}}})")),
            "record 2, key \"n\": a NUL inside a key or value cannot be encoded");
  EXPECT_THAT(problemOf(documentWith(R"({"pairs":{"a\u0000":"b"}})")), HasSubstr("a NUL inside"));
}

TEST(RecordJSON, RefusesHexadecimalThatIsNone) {
  EXPECT_THAT(problemOf(documentWith(R"({"pairs":{"a":{"hex":"0"}}})")), HasSubstr("odd number"));
  EXPECT_THAT(problemOf(documentWith(R"({"pairs":{"a":{"hex":"0g"}}})")),
              HasSubstr("other than hexadecimal digits"));
  EXPECT_THAT(problemOf(documentWith(R"({"pairs":{"a":{"hex":7}}})")), HasSubstr("not a string"));
  EXPECT_THAT(problemOf(documentWith(R"({"pairs":{"a":{}}})")), HasSubstr("\"hex\" is missing"));
}

TEST(RecordJSON, RefusesARecordOfAnotherShape) {
  EXPECT_EQ(problemOf(documentWith("7")), "record 1: not an object");
  EXPECT_EQ(problemOf(documentWith("{}")), "record 1: \"pairs\" is missing");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":[]})")), "record 1: \"pairs\" is not an object");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{},"name":"x"})")),
            "record 1: unknown member \"name\"");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{"a":7}})")), "record 1, key \"a\": not an object");
  EXPECT_EQ(
      problemOf(documentWith(R"({"pairs":{"a":"1"},"otherPairs":[{"key":"a","value":"2"}]})")),
      "record 1, key \"a\": the key stands there twice");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{},"otherPairs":[{"key":"a"}]})")),
            "record 1: \"value\" is missing");
}

TEST(RecordJSON, RefusesADocumentOfAnotherKind) {
  EXPECT_EQ(problemOf("[]"), "the document: not an object");
  EXPECT_EQ(problemOf("{}"), "the document: \"schema\" is missing");
  EXPECT_EQ(problemOf(R"({"schema":2})"), "the document: \"schema\" is not 1");
  EXPECT_EQ(problemOf(R"({"schema":1,"results":{}})"), "the document: \"results\" is not an array");
  EXPECT_EQ(problemOf(R"({"schema":1,"results":[]})"),
            "the document: \"results\" holds 0 results, where one can be encoded");
  EXPECT_EQ(problemOf(R"({"schema":1,"results":[{"unchanged":true,"records":[]}]})"),
            "the result: an unchanged answer has no records to encode");
  EXPECT_EQ(problemOf(R"({"schema":1,"results":[{}]})"), "the result: \"records\" is missing");
}

TEST(RecordJSON, SaysWhereTheTextIsNoJSON) {
  EXPECT_THAT(problemOf("{\n\"a\" \x1b"), HasSubstr("line 2"));
  EXPECT_THAT(problemOf("{\n\"a\" \x1b"), testing::Not(HasSubstr("\x1b")));
  EXPECT_THAT(problemOf(""), HasSubstr("parse error"));
  EXPECT_THAT(problemOf("\"\xFF\""), HasSubstr("UTF-8"));
}

TEST(RecordJSON, SaysThatANumberIsOutOfRange) {
  EXPECT_THAT(problemOf(R"({"schema":1e999,"results":[]})"), HasSubstr("number overflow"));
}

TEST(RecordJSON, SurvivesDeepNesting) {
  EXPECT_NE(problemOf(std::string(100000, '[')), "no problem");
  EXPECT_EQ(problemOf(std::string(100000, '[') + std::string(100000, ']')),
            "the document: not an object");
}

} // namespace
} // namespace tesker::test
