#include "command/Answers.h"

#include "platform/foundation/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::HasSubstr;

class Answers : public testing::Test {
protected:
  Answer read(std::string_view text) {
    Diagnostics diagnostics(said_.number(), Diagnostics::Level::normal);
    return answerIn(directory_.writeFile("answer", text), Deadline::in(std::chrono::hours(1)),
                    diagnostics);
  }
  std::string said() const {
    std::string bytes(10'000, '\0');
    const ssize_t size = ::pread(said_.number(), bytes.data(), bytes.size(), 0);
    return bytes.substr(0, static_cast<std::size_t>(size));
  }

private:
  const TemporaryDirectory directory_;
  const FileDescriptor said_{::memfd_create("said", MFD_CLOEXEC)};
};

TEST_F(Answers, AreRecordsOfAFile) {
  const std::vector<SearchRecord> records(2, {{{"name", "A"}, {"path", "/a"}, {"type", "app"}}});
  const std::string text = encodeRecords(records);
  const Answer answer = read(text);
  EXPECT_TRUE(answer.isThere);
  EXPECT_EQ(answer.records.size(), 2U);
  EXPECT_EQ(answer.records, decodeRecords(text));
  EXPECT_EQ(answer.status, ExitStatus::done);
  EXPECT_EQ(said(), "");
}

TEST_F(Answers, ThatAreMalformedAreSaidAndFail) {
  const Answer answer = read("(1");
  EXPECT_FALSE(answer.isThere);
  EXPECT_EQ(answer.status, ExitStatus::failed);
  EXPECT_THAT(said(), HasSubstr("/answer: not a list of encoded records\n"));
}

TEST_F(Answers, OfMoreRecordsThanASearchAnswersAreRefused) {
  std::string text = "(f4241"; // one more than a million
  for (int i = 0; i <= 1'000'000; ++i)
    text += ",0";
  EXPECT_FALSE(read(text + ")").isThere);
  EXPECT_THAT(said(), HasSubstr("/answer: more records than a search answers\n"));
}

} // namespace
} // namespace tesker::test
