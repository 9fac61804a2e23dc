#include "command/JSONItems.h"
#include "tests/command/CapturedOutput.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

std::string written(Format format, const JSONItems &items) {
  return captured([&](Output &output) { writeItems(output, format, items); });
}

JSONItems items(std::vector<std::string> objects, bool incomplete = false) {
  return {"types", std::nullopt, incomplete, "types", "type", std::move(objects)};
}

TEST(JSONItems, StandOnALineEach) {
  EXPECT_EQ(written(Format::json, items({"{\"a\":1}", "{}"})),
            "{\"schema\":1,\"results\":[\n"
            "{\"request\":\"types\",\"key\":null,\"types\":[\n"
            "{\"a\":1},\n"
            "{}\n"
            "]}\n"
            "]}\n");
  EXPECT_EQ(written(Format::jsonl, items({"{\"a\":1}", "{}"})),
            "{\"schema\":1,\"request\":\"types\",\"key\":null,\"type\":{\"a\":1}}\n"
            "{\"schema\":1,\"request\":\"types\",\"key\":null,\"type\":{}}\n");
}

TEST(JSONItems, MayBeNone) {
  EXPECT_EQ(written(Format::json, items({})), "{\"schema\":1,\"results\":[\n"
                                              "{\"request\":\"types\",\"key\":null,\"types\":[]}\n"
                                              "]}\n");
  EXPECT_EQ(written(Format::jsonl, items({})), "");
}

TEST(JSONItems, SayThatThereMayBeMore) {
  EXPECT_EQ(written(Format::json, items({}, true)),
            "{\"schema\":1,\"results\":[\n"
            "{\"request\":\"types\",\"key\":null,\"incomplete\":true,\"types\":[]}\n"
            "]}\n");
  EXPECT_EQ(written(Format::jsonl, items({"{}"}, true)),
            "{\"schema\":1,\"request\":\"types\",\"key\":null,\"type\":{}}\n"
            "{\"schema\":1,\"request\":\"types\",\"key\":null,\"incomplete\":true}\n");
}

Problems twoErrorsAndALogLine() {
  Problems problems;
  problems.addError({"/missing", "No such file or directory"});
  problems.addError({std::nullopt, "bad"});
  problems.addLogLine({"/\xFF", "line \xFF"});
  return problems;
}

constexpr const char *kProblemMembers =
    R"(,"errors":[
{"path":"/missing","text":"No such file or directory"},
{"text":"bad"}
],"log":[
{"path":{"hex":"2fff"},"text":{"hex":"6c696e6520ff"}}
])";

TEST(JSONItems, HaveWhatWentWrongBehindThemInTheDocument) {
  EXPECT_EQ(captured([](Output &output) {
              writeItems(output, Format::json, items({"{}"}), twoErrorsAndALogLine());
            }),
            R"({"schema":1,"results":[
{"request":"types","key":null,"types":[
{}
]}
])" + std::string(kProblemMembers) +
                "}\n");
}

TEST(OtherProblems, AreADocumentWhereThereIsNone) {
  const auto written = [](bool touched) {
    return captured([&](Output &output) {
      output.write(touched ? "document\n" : "");
      writeOtherProblems(output, Format::json, twoErrorsAndALogLine());
    });
  };
  EXPECT_EQ(written(false),
            "{\"schema\":1,\"results\":[\n]" + std::string(kProblemMembers) + "}\n");
  EXPECT_EQ(written(true), "document\n");
}

TEST(OtherProblems, AreNothingForPeopleAmongLinesAndWhereThereAreNone) {
  EXPECT_EQ(captured([](Output &output) {
              writeOtherProblems(output, Format::table, twoErrorsAndALogLine());
              writeOtherProblems(output, Format::raw, twoErrorsAndALogLine());
              writeOtherProblems(output, Format::jsonl, twoErrorsAndALogLine());
              writeOtherProblems(output, Format::json, {});
            }),
            "");
}

TEST(JSONItems, AreObjectsOfEveryKindOfMember) {
  EXPECT_EQ(JSONObject().text(), "{}");
  EXPECT_EQ(JSONObject()
                .addText("a", "\"\x1b")
                .addText("b", "\xff")
                .addTexts("c", {"x", "y"})
                .addTexts("d", {})
                .addFlag("e", true)
                .addNumber("f", -1)
                .addValues("g", {"{}", "1"})
                .text(),
            R"({"a":"\"\u001b","b":{"hex":"ff"},"c":["x","y"],"d":[],"e":true,"f":-1,"g":[{},1]})");
}

} // namespace
} // namespace tesker::test
