#include "command/RecordJSON.h"
#include "command/ResultWriter.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using Records = std::vector<SearchRecord>;

struct Answer {
  const char *request;
  const char *key;                    // nil: none
  std::optional<SearchAnswer> answer; // nothing: unchanged
};

Answer answerTo(const char *request, const char *key, Records records) {
  std::string text = encodeRecords(records);
  return {request, key, SearchAnswer{std::move(text), std::move(records)}};
}
Answer unchanged(const char *request, const char *key) { return {request, key, std::nullopt}; }

// What a writer prints for the answers.
std::string printed(Format format, const std::vector<Answer> &answers,
                    const Problems &problems = {}) {
  return captured([&](Output &output) {
    const std::unique_ptr<ResultWriter> writer = makeResultWriter(format, output);
    writer->begin();
    for (const auto &[request, key, answer] : answers)
      writer->add(resultOf(request, key != nullptr ? std::optional<std::string>(key) : std::nullopt,
                           answer ? &*answer : nullptr));
    writer->end(problems);
  });
}

TEST(ResultWriter, PrintsOneJSONDocumentWithARecordOnALine) {
  EXPECT_EQ(
      printed(Format::json, {answerTo("list", "/Apps", Records{{{{"a", "1"}}}, {}}),
                             answerTo("list", "/None", Records{}), unchanged("dock", "Dock")}),
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

TEST(ResultWriter, PrintsInTheDocumentHowFarTheToolWasConfined) {
  const SearchAnswer answer{encodeRecords({}), {}};
  SearchResult result = resultOf("list", "/Apps", &answer, true);
  result.confinement = "Landlock off (\xFF)";
  const auto printedResult = [&](Format format) {
    return captured([&](Output &output) { makeResultWriter(format, output)->add(result); });
  };
  EXPECT_THAT(printedResult(Format::json),
              testing::HasSubstr(R"("incomplete":true,"confinement":{"hex":")"));
  result.confinement = "limits on";
  EXPECT_THAT(printedResult(Format::json),
              testing::HasSubstr(R"("incomplete":true,"confinement":"limits on","records":[)"));
  EXPECT_THAT(printedResult(Format::jsonl), testing::Not(testing::HasSubstr("confinement")));
}

TEST(ResultWriter, PrintsADocumentWithoutResultsWhenThereIsNone) {
  EXPECT_EQ(recordsFromJSON(printed(Format::json, {answerTo("decode", nullptr, Records{})})),
            Records{});
  EXPECT_EQ(printed(Format::json, {}), "{\"schema\":1,\"results\":[\n]}\n");
}

TEST(ResultWriter, PrintsBehindTheResultsWhatWentWrong) {
  Problems problems;
  problems.addError({"/None", "No such file or directory"});
  const std::string document =
      printed(Format::json, {answerTo("list", "/None", Records{{{{"a", "1"}}}})}, problems);
  EXPECT_THAT(document, testing::EndsWith(R"(
]}
],"errors":[
{"path":"/None","text":"No such file or directory"}
]}
)"));
  EXPECT_EQ(recordsFromJSON(document), (Records{{{{"a", "1"}}}})); // encode passes over it
}

TEST(ResultWriter, PrintsOneRecordALineWithItsKey) {
  EXPECT_EQ(
      printed(Format::jsonl, {answerTo("list", "/A\xFF", Records{{{{"a", "1"}}}, {}}),
                              answerTo("list", "/None", Records{}), unchanged("list", "/Same")}),
      R"({"schema":1,"request":"list","key":{"hex":"2f41ff"},"record":{"pairs":{"a":"1"}}}
{"schema":1,"request":"list","key":{"hex":"2f41ff"},"record":{"pairs":{}}}
{"schema":1,"request":"list","key":"/Same","unchanged":true}
)");
}

TEST(ResultWriter, AddsNothingToARawAnswer) {
  EXPECT_EQ(printed(Format::raw, {answerTo("list", "/A", Records{{{{"a", "\xFF"}}}})}),
            std::string("a\0\xFF\0(1,1,0,1)", 13));
  EXPECT_EQ(printed(Format::raw, {unchanged("list", "/A")}), "");
}

} // namespace
} // namespace tesker::test
