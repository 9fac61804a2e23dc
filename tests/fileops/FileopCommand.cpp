#include "tests/fileops/FileopCommand.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {

namespace {

// The attributes of a process that is started by a terminal's shell.
void setAttributes(posix_spawnattr_t &attributes, int ignored) {
  sigset_t standard;
  ::sigemptyset(&standard);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (signal != ignored)
      ::sigaddset(&standard, signal);
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setsigdefault(&attributes, &standard);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
}

} // namespace

pid_t FileopCommand::start(std::vector<std::string> words, int ignored) {
  words.insert(words.begin(), TESKER_FILEOP);
  std::vector<char *> pointers;
  for (std::string &word : words)
    pointers.push_back(word.data());
  pointers.push_back(nullptr);
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, path("command.output").c_str(), flags,
                                     0600);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, path("command.errors").c_str(), flags,
                                     0600);
  posix_spawnattr_t attributes;
  setAttributes(attributes, ignored);
  pid_t id = -1;
  EXPECT_EQ(::posix_spawn(&id, TESKER_FILEOP, &actions, &attributes, pointers.data(), environ), 0);
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  return id;
}

Ended FileopCommand::waitFor(pid_t id) {
  int status = -1;
  EXPECT_EQ(::waitpid(id, &status, 0), id);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
          contents(path("command.output")), contents(path("command.errors"))};
}

void FileopCommand::expectDone(const std::vector<std::string> &words) {
  const Ended ended = run(words);
  EXPECT_EQ(ended.status, 0) << testing::PrintToString(words);
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.output, "");
}

void FileopCommand::expectNotDone(const std::vector<std::string> &words,
                                  const std::string &errors) {
  const Ended ended = run(words);
  EXPECT_EQ(ended.status, 1) << testing::PrintToString(words);
  EXPECT_EQ(ended.errors, errors);
  EXPECT_EQ(ended.output, "");
}

void FileopCommand::expectUsageError(const std::vector<std::string> &words,
                                     const std::string &part) {
  const Ended ended = run(words);
  EXPECT_EQ(ended.status, 2) << testing::PrintToString(words);
  EXPECT_THAT(ended.errors, testing::HasSubstr(part));
}

} // namespace tesker::test
