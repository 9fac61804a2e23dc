// A program that does what a test tells it, in place of rm, tar, compress or uncompress.
//
// It is started through a link PROGRAM. What to do stands in PROGRAM.script, one step a line:
//   print TEXT   writes the text to standard output
//   fill COUNT   writes so many bytes to standard output
//   flood        writes to standard output until that fails
//   copy         copies standard input to standard output
//   drain        reads standard input to its end
//   touch NAME   makes a file in the working directory
//   wait FIFO    waits until somebody has opened the FIFO for writing and closed it
//   exit STATUS  ends with the status
//   signal NUMBER  ends by the signal
// After the last step it ends with status 0. First of all it adds to PROGRAM.record, a line each:
// "run", "directory PATH", "argument WORD"..., "descriptor NUMBER"..., "sigpipe default|other".
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const std::string &what) {
  std::perror(("fake program: " + what).c_str());
  std::_Exit(99);
}

bool writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0)
      return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string openDescriptors() {
  DIR *directory = ::opendir("/proc/self/fd");
  if (directory == nullptr)
    fail("/proc/self/fd");
  std::string lines;
  while (const dirent *entry = ::readdir(directory)) {
    const std::string name = entry->d_name;
    if (name[0] != '.' && name != std::to_string(::dirfd(directory)))
      lines += "descriptor " + name + "\n";
  }
  ::closedir(directory);
  return lines;
}

void record(int count, char **words) {
  std::string lines = "run\n";
  char directory[4096];
  if (::getcwd(directory, sizeof directory) == nullptr)
    fail("getcwd");
  lines += "directory " + std::string(directory) + "\n";
  for (int i = 0; i < count; ++i)
    lines += "argument " + std::string(words[i]) + "\n";
  lines += openDescriptors();
  const bool isDefault = std::signal(SIGPIPE, SIG_DFL) == SIG_DFL;
  lines += std::string("sigpipe ") + (isDefault ? "default" : "other") + "\n";
  std::ofstream(std::string(words[0]) + ".record", std::ios::app) << lines;
}

void readInput(bool copying) {
  char buffer[65536];
  ssize_t length;
  while ((length = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0)
    if (copying && !writeAll({buffer, static_cast<std::size_t>(length)}))
      fail("copy");
  if (length < 0)
    fail("read");
}

// The FIFO is opened for reading, which waits for a writer, and read to its end.
void waitFor(const std::string &fifo) {
  const int descriptor = ::open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0)
    fail(fifo);
  char byte;
  while (::read(descriptor, &byte, 1) > 0) {
  }
  ::close(descriptor);
}

void take(const std::string &step) {
  const std::string verb = step.substr(0, step.find(' '));
  const std::string rest = step.size() > verb.size() ? step.substr(verb.size() + 1) : "";
  if (verb == "print") {
    if (!writeAll(rest))
      fail("print");
  } else if (verb == "fill") {
    if (!writeAll(std::string(std::stoul(rest), 'x')))
      std::exit(1);
  } else if (verb == "flood") {
    while (writeAll(std::string(4096, 'x'))) {
    }
  } else if (verb == "copy" || verb == "drain") {
    readInput(verb == "copy");
  } else if (verb == "touch") {
    std::ofstream(rest) << "extracted";
  } else if (verb == "wait") {
    waitFor(rest);
  } else if (verb == "exit") {
    std::_Exit(std::stoi(rest));
  } else if (verb == "signal") {
    ::signal(std::stoi(rest), SIG_DFL); // the shell that runs the tests may have it ignored
    ::raise(std::stoi(rest));
  } else {
    fail("unknown step " + step);
  }
}

} // namespace

int main(int count, char **words) {
  record(count, words);
  const std::string program = words[0];
  std::ifstream script(program + ".script");
  for (std::string step; std::getline(script, step);)
    take(step);
  return 0;
}
