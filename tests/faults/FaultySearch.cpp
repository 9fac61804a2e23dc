#include "tests/faults/FaultySearch.h"

#include "examples/MachOWriter.h"
#include "tests/faults/FailingMalloc.h"
#include "tests/support/FaultyOperatingSystem.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {

namespace {

constexpr unsigned kLongestSearch = 60; // seconds

// What to say when this process crashes or hangs.
std::array<char, 128> currentFault{};

void endByCrash(int signal) {
  constexpr std::string_view crashes = ": the master crashes\n", hangs = ": the search hangs\n";
  const std::string_view what = signal == SIGALRM ? hangs : crashes;
  (void)!::write(STDERR_FILENO, currentFault.data(), std::strlen(currentFault.data()));
  (void)!::write(STDERR_FILENO, what.data(), what.size());
  ::_exit(1);
}

std::string executable(const std::string &name) {
  const std::string header = "F\t" + name + "\tApplication\ticon\nS\tx" + name + "\tApplication\n";
  return examples::MachOWriter(examples::kI386)
      .addSection("__ICON", "__header", header)
      .addSection("__ICON", "__services", "")
      .bytes();
}

void makeTree(const TemporaryDirectory &directory) {
  for (const char *name : {"a/one", "a/b/two", "c/three", "four"})
    directory.writeFile("tree/" + std::string(name), executable(name), 0755);
  directory.writeFile("tree/script", "#!/bin/sh\n", 0755);
  directory.writeFile("tree/text", "text");
  directory.writeFile("tree/c/Five.app/Five", executable("Five"), 0755);
  directory.writeFile("tree/c/Five.app/Resources/Info-quorvale.plist",
                      "{NSExecutable = Five; NSTypes = ({NSExtensions = (five, funf);});}");
  directory.writeFile("tree/c/Six.app/Six", executable("Six"), 0755);
  directory.writeFile("tree/c/Six.app/Part.bundle/Part", executable("Part"), 0755);
  directory.writeFile("tree/Seven.app/registry.table", "{NSDocumentTypes = {seven = {};};}");
  directory.makeLink("tree/link", "c");
}

std::size_t entriesOf(const std::string &directory) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory),
                                                std::filesystem::directory_iterator()));
}

// The master's side of the faults.
class MasterSystem final : public FaultyOperatingSystem {
public:
  MasterSystem()
      : FaultyOperatingSystem(
            [](std::string_view call, int error) { return canFail(Side::master, call, error); }) {}

  std::vector<pid_t> children;

  pid_t fork() override {
    const pid_t id = FaultyOperatingSystem::fork();
    if (id > 0)
      children.push_back(id);
    return id;
  }
  // It fails like that only where somebody else has reaped the child, which has ended then.
  int waitForChild(pid_t id, int options, siginfo_t &ended) override {
    const int result = FaultyOperatingSystem::waitForChild(id, options, ended);
    if (result == 0 || errno != ECHILD)
      return result;
    siginfo_t reaped{};
    if (::waitid(P_PID, static_cast<id_t>(id), &reaped, WEXITED | WNOHANG) == 0 &&
        reaped.si_pid == 0)
      return OperatingSystem::waitForChild(id, options, ended);
    errno = ECHILD;
    return -1;
  }
};

// Whether a child of this process is left; ends them.
bool endChildrenLeft(const std::vector<pid_t> &children) {
  siginfo_t info{};
  if (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0)
    return false;
  for (const pid_t child : children)
    ::kill(child, SIGKILL);
  while (::waitid(P_ALL, 0, &info, WEXITED) == 0) {
  }
  return true;
}

} // namespace

std::string describe(const Fault &fault) {
  const bool isCall = fault.kind == Fault::Kind::call;
  return std::string(fault.side == Side::tool ? "tool" : "master") +
         (isCall ? " call " : " allocation ") + std::to_string(fault.number) +
         (isCall ? std::string(" ") + ::strerrorname_np(fault.error) : "") +
         (fault.andAllAfter ? " on" : "");
}

FaultySearch::FaultySearch(std::string tool) : tool_(std::move(tool)) {
  makeTree(directory_);
  directory_.makeDirectory("run");
  // A pipe, since the tool gives up writing to files. It holds a whole trace.
  const std::string trace = directory_.path("trace");
  if (::mkfifo(trace.c_str(), 0600) == 0)
    trace_ = FileDescriptor(OperatingSystem::current().open(trace.c_str(), O_RDWR | O_NONBLOCK));
  ::setenv("FAULT_TRACE", trace.c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", directory_.path("run").c_str(), 1);
  std::signal(SIGPIPE, SIG_IGN);
  for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGALRM})
    std::signal(signal, endByCrash);
}

SearchOutcome FaultySearch::search() const {
  return FinderMaster({.tool = tool_, .cpu = "i386", .timeout = std::chrono::seconds(30)})
      .findAppsInSearchPath(tree());
}

FaultySearch::Result FaultySearch::run(const Fault &fault) {
  describe(fault).copy(currentFault.data(), currentFault.size() - 1);
  currentFault[std::min(describe(fault).size(), currentFault.size() - 1)] = '\0';
  const std::size_t descriptorsBefore = entriesOf("/proc/self/fd");
  Result result;
  ::alarm(kLongestSearch);
  if (fault.kind == Fault::Kind::call)
    runWithCalls(fault, result);
  else
    runWithAllocations(fault, result);
  ::alarm(0);
  ::unsetenv("FAULT");
  std::string trace = takeTrace();
  if (fault.side == Side::tool)
    readTrace(fault, trace, result);
  result.descriptors = entriesOf("/proc/self/fd") - descriptorsBefore;
  if ((result.directories = directoriesLeft()) > 0)
    (void)search(); // clears them away
  (void)takeTrace();
  if (directoriesLeft() > 0)
    result.directories = ~std::size_t{0};
  return result;
}

void FaultySearch::runWithCalls(const Fault &fault, Result &result) {
  if (fault.side == Side::tool) {
    const std::string text = "call " + std::to_string(fault.number) + " " +
                             std::to_string(fault.error) + (fault.andAllAfter ? " on" : "");
    ::setenv("FAULT", text.c_str(), 1);
    result.outcome = search();
    result.process = endChildrenLeft({});
    return;
  }
  MasterSystem system;
  system.fault = {fault.number, fault.error, fault.andAllAfter};
  {
    const ScopedOperatingSystem scope(system);
    result.outcome = search();
  }
  result.process = endChildrenLeft(system.children);
  result.calls = std::move(system.calls);
  result.failures = std::move(system.failures);
}

void FaultySearch::runWithAllocations(const Fault &fault, Result &result) {
  if (fault.side == Side::tool) {
    const std::string text =
        "allocation " + std::to_string(fault.number) + (fault.andAllAfter ? " on" : "");
    ::setenv("FAULT", text.c_str(), 1);
    result.outcome = search();
  } else {
    const FinderMaster master({.tool = tool_, .cpu = "i386", .timeout = std::chrono::seconds(30)});
    const std::string path = tree();
    const std::size_t before = mallocsSoFar;
    if (fault.number != 0)
      mallocFault = {before + fault.number, fault.andAllAfter};
    result.outcome = master.findAppsInSearchPath(path);
    mallocFault = {};
    result.allocations = mallocsSoFar - before;
  }
  result.process = endChildrenLeft({});
}

std::string FaultySearch::takeTrace() const {
  std::string trace(std::size_t{1} << 17, '\0');
  const ssize_t size = OperatingSystem::current().read(trace_.number(), trace.data(), trace.size());
  trace.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return trace;
}

void FaultySearch::readTrace(const Fault &fault, const std::string &text, Result &result) {
  std::istringstream trace(text);
  if (fault.kind == Fault::Kind::allocation) {
    trace >> result.allocations;
    return;
  }
  for (std::string line; std::getline(trace, line);)
    if (line.starts_with('!'))
      result.failures.push_back(line.substr(1));
    else
      result.calls.push_back(line);
}

std::size_t FaultySearch::directoriesLeft() const { return entriesOf(directory_.path("run")); }

} // namespace tesker::test
