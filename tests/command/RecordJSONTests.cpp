#include "command/RecordJSON.h"
#include "command/ResultWriter.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>
#include <random>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

using Records = std::vector<SearchRecord>;

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
  EXPECT_EQ(recordAsJSON({{{"pairs", "1"}, {"otherPairs", "2"}, {"key", "3"}, {"", "4"}}}),
            R"({"pairs":{"":"4","key":"3","otherPairs":"2","pairs":"1"}})");
}

TEST(RecordJSON, WritesBytesThatAreNoUtf8AsHexadecimal) {
  EXPECT_EQ(recordAsJSON({{{"name", "a\xFF"}}}), R"({"pairs":{"name":{"hex":"61ff"}}})");
  EXPECT_EQ(
      recordAsJSON({{{"\xFF", "x"}, {"\xFE", "\xFD"}}}),
      R"({"otherPairs":[{"key":{"hex":"ff"},"value":"x"},{"key":{"hex":"fe"},"value":{"hex":"fd"}}],"pairs":{}})");
}

TEST(RecordJSON, EscapesControlCharacters) {
  EXPECT_EQ(textAsJSON("a\n\x1b\""), R"("a\n\u001b\"")");
}

// ---- reading ----

void expectRoundTrip(const Records &records) {
  const std::string text = encodeRecords(records);
  const SearchAnswer answer{text, decodeRecords(text).value()};
  const std::string document = captured([&](Output &output) {
    const std::unique_ptr<ResultWriter> writer = makeResultWriter(Format::json, output);
    writer->begin();
    writer->add(resultOf("decode", std::nullopt, &answer));
    writer->end({});
  });
  EXPECT_EQ(encodeRecords(recordsFromJSON(document)), text);
}

TEST(RecordJSON, ReadsBackWhatItWrote) {
  expectRoundTrip({});
  expectRoundTrip({SearchRecord{}});
  expectRoundTrip({{{{"type", "app"}, {"path", "/A\xC3\xA4\xFF"}}},
                   {{{"\xFF\"\\", "{\"hex\":\"00\"}"}, {"", ""}, {"(1)", "\n\x1b"}}},
                   {{{"type", "app"}}}});
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
    Records records(random() % 5);
    for (SearchRecord &record : records)
      for (std::size_t j = random() % 6; j > 0; --j)
        record.pairs.emplace_back(text(), text());
    expectRoundTrip(records);
  }
}

TEST(RecordJSON, AcceptsEitherFormOfTextEverywhere) {
  const Records records = recordsFromJSON(
      documentWith(R"({"pairs":{"a":{"hex":"4A4b"}},"otherPairs":[{"key":"b","value":"c"}]})"));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_THAT(records[0].pairs, ElementsAre(Pair("a", "JK"), Pair("b", "c")));
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

TEST(RecordJSON, RefusesUnknownMembersOfPairsAndTextsSinceTheyWouldBeLost) {
  EXPECT_EQ(problemOf(documentWith(
                R"({"pairs":{},"otherPairs":[{"key":"a","value":"1","values":"2"}]})")),
            "record 1: unknown member \"values\"");
  EXPECT_EQ(problemOf(documentWith(R"({"pairs":{"a":{"hex":"00","text":"x"}}})")),
            "record 1, key \"a\": unknown member \"text\"");
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
  EXPECT_EQ(problemOf(R"({"schema":1,"results":[{"unchanged":1,"records":[]}]})"),
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
