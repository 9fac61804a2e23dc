#include "command/Launch.h"

#include "platform/foundation/Files.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/wait.h>

namespace tesker::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// A program that writes lines about itself into a FIFO.
class Launch : public testing::Test {
protected:
  Launch() {
    EXPECT_EQ(::mkfifo(told.c_str(), 0600), 0);
    script(R"(exec 3<&0 4>&1 5>&2 >)" + told + "\n" + R"(for word; do echo "$word"; done)");
  }
  // Whatever is written to standard output goes into the FIFO.
  void script(const std::string &lines) {
    program = directory.writeFile("program", "#!/bin/sh\n" + lines + "\n", 0755);
  }
  // Starts it and answers the lines, once it has closed the FIFO.
  std::vector<std::string> linesOf(const std::vector<std::string> &arguments) {
    const Result<pid_t> process = startDetached(program, arguments, Deadline::in(kLong));
    EXPECT_EQ(process.error(), 0);
    child = process ? *process : -1;
    std::ifstream stream(told);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
      lines.push_back(line);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return lines;
  }

  static constexpr std::chrono::seconds kLong{1000};
  const TemporaryDirectory directory;
  const std::string told = directory.path("told");
  std::string program;
  pid_t child = -1;
};

TEST_F(Launch, HandsOverTheArgumentsAsTheyAre) {
  EXPECT_THAT(linesOf({"/a b", "", "-x", "\xff'\"$HOME"}),
              ElementsAre("/a b", "", "-x", "\xff'\"$HOME"));
}

TEST_F(Launch, GivesTheProgramASessionAndStreamsOfItsOwn) {
  script("exec 3<&0 4>&1 5>&2 >" + told + "\n" +
         "cut -d ' ' -f 6 /proc/$$/stat\n"
         "for stream in 3 4 5; do readlink /proc/$$/fd/$stream; done");
  const std::vector<std::string> lines = linesOf({});
  EXPECT_THAT(lines, ElementsAre(std::to_string(child), "/dev/null", "/dev/null", "/dev/null"));
}

TEST_F(Launch, LeavesNoDescriptorOpenInTheProgram) {
  const FileDescriptor leaked(::fcntl(STDERR_FILENO, F_DUPFD, 50)); // without close-on-exec
  script("exec > " + told + "\nfor file in /proc/$$/fd/*; do echo \"${file##*/}\"; done");
  EXPECT_THAT(linesOf({}), Not(Contains(std::to_string(leaked.number()))));
}

TEST_F(Launch, IgnoresNoSignalInTheProgram) {
  ::signal(SIGPIPE, SIG_IGN);
  script("exec > " + told + "\ngrep -E 'Sig(Ign|Blk)' /proc/self/status | cut -f 2");
  EXPECT_THAT(linesOf({}), ElementsAre("0000000000000000", "0000000000000000"));
  ::signal(SIGPIPE, SIG_DFL);
}

TEST_F(Launch, SaysWhyAProgramDoesNotStart) {
  const auto errorOf = [](const std::string &path) {
    return startDetached(path, {}, Deadline::in(kLong)).error();
  };
  EXPECT_EQ(errorOf(directory.path("missing")), ENOENT);
  EXPECT_EQ(errorOf(directory.writeFile("plain", "text")), EACCES);
  EXPECT_EQ(errorOf(directory.writeFile("no format", "text", 0755)), ENOEXEC);
  EXPECT_EQ(errorOf(directory.makeDirectory("directory")), EACCES);
  EXPECT_EQ(errorOf("bin/true"), EINVAL);
  EXPECT_EQ(errorOf(""), EINVAL);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
}

TEST_F(Launch, SaysThatThereAreTooManyArguments) {
  const std::vector<std::string> many(100, std::string(100'000, 'x'));
  EXPECT_EQ(startDetached("/bin/true", many, Deadline::in(kLong)).error(), E2BIG);
}

TEST(ShellLines, QuoteWhatIsNotPlain) {
  EXPECT_EQ(shellLine("/Apps/Edit", {"/a/b-c_1.txt"}), "/Apps/Edit /a/b-c_1.txt");
  EXPECT_EQ(shellLine("/My Apps/Edit", {"", "a$b;c", "\xC3\xA4"}),
            "'/My Apps/Edit' '' 'a$b;c' '\xC3\xA4'");
}

TEST(ShellLines, DriveNoTerminal) {
  EXPECT_EQ(shellLine("/a", {"\x1b[2J\n\xff", "it's", "a\\b", "\xE2\x80\xAE"}),
            R"(/a $'\033[2J\012\377' $'it\'s' $'a\\b' $'\342\200\256')");
}

} // namespace
} // namespace tesker::test
