// FakeTool.cpp - a tool that misbehaves in the way that FAKE_TOOL in the environment names.

#include "master/SearchOutcome.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/master/FakeToolSteps.h"
#include "tests/master/FakeToolWays.h"
#include "tests/ports/RawSockets.h"
#include "tests/protocol/WireMessage.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <unistd.h>

namespace {

using namespace tesker;
using namespace tesker::fake_tool;

std::string variable(const char *name) { return environmentValue(name).value_or("unset"); }

// ---- what a well-made child sees ----

std::string openDescriptors() {
  std::string text;
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    std::error_code error;
    const auto target =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    if (!error)
      text += std::to_string(descriptor) + "=" +
              (target.string().starts_with("pipe:") ? "pipe" : target.string()) + " ";
  }
  return text;
}

std::string signals() {
  sigset_t blocked;
  ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
  std::string text;
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
      text += "ignored " + std::to_string(signal) + " ";
    if (::sigismember(&blocked, signal) == 1)
      text += "blocked " + std::to_string(signal) + " ";
  }
  return text.empty() ? "default" : text;
}

// Describes how the child was started, in a record.
void report() {
  const std::string descriptors = openDescriptors();
  const std::string dispositions = signals();
  serve([&](const NSString &key, const NSString &, FinderClient &client) {
    const SearchRecord record{{{"descriptors", descriptors},
                               {"signals", dispositions},
                               {"cpu", variable("TESKER_HOST_CPU")},
                               {"links", variable("TESKER_LINK_CYCLES")},
                               {"progress", variable("TESKER_PROGRESS")},
                               {"log", variable("TESKER_LOG_STDERR")},
                               {"bootstrap", variable("TESKER_BOOTSTRAP_DIR")},
                               {"group", ::getpgrp() == ::getpid() ? "own" : "shared"}}};
    answer(NSString::create(encodeRecords({record})), key, client);
  });
}

// ---- the ways to misbehave ----

void garbageBus() {
  say(beginBus(), std::string(4096, '\xFE'));
  hang();
}

// Sends without end, and says so once the master has begun to read.
void flood() {
  const port_t masterPort = beginBus();
  const int descriptor = sendDescriptor(masterPort);
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  const std::string emptyPiece =
      test::wireMessage({"/", "Tesker.Connection", "carry", "ay"},
                        test::WireArguments(std::endian::native).bytes(""));
  std::string messages;
  while (messages.size() < (1U << 20))
    messages += emptyPiece;
  for (bool begun = false;; begun = true) {
    if (begun)
      std::cerr << "flooding" << std::endl;
    say(masterPort, messages);
  }
}

void logMuch() {
  for (int i = 1; i <= 5000; ++i)
    std::cerr << "line " << i << '\n';
  std::cerr << "no \x1b[31mend" << std::flush;
  std::exit(3);
}

void closeAndHang() {
  port_t port = PORT_NULL;
  port_deallocate(handOver(port));
  port_deallocate(port);
  hang();
}

// Leaves a process that traces this one, lives on for a minute, and never looks at what it traces.
// By a process in a group of its own, or one that the tool's end takes with it.
void beTraced(bool inOwnGroup = true) {
  ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
  Pipe pipe = std::move(*createPipe());
  if (::fork() == 0) {
    if (inOwnGroup)
      ::setsid();
    ::alarm(60);
    const bool traces = ::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0;
    (void)writeAll(pipe.writeEnd.number(), traces ? "y" : "n");
    hang();
  }
  char answer = 0;
  (void)!::read(pipe.readEnd.number(), &answer, 1);
}

void sendPackets(std::size_t length, std::size_t descriptors) {
  const test::SocketPair pair(SOCK_STREAM);
  std::vector<int> carried{pair.near.number(), pair.far.number()};
  carried.resize(descriptors);
  sendPacket(length, carried);
  hang();
}

Way serving(const Answerer &answerer) {
  return [answerer] { serve(answerer); };
}

// Answers with the text, whatever was asked.
Way answering(const NSString &text) {
  return serving([text](const NSString &key, const NSString &, FinderClient &client) {
    answer(text, key, client);
  });
}

// The same after the line that says that something is missing from the answer.
Way logging(const char *lines) {
  return serving([lines](const NSString &key, const NSString &, FinderClient &client) {
    std::cerr << lines << std::endl;
    answer(kEmptyAnswer, key, client);
  });
}

Way answeringIncompletely(const NSString &text) {
  return serving([text](const NSString &key, const NSString &, FinderClient &client) {
    std::cerr << "*** Applications Finder: error parsing /incomplete: not the reason\n"
              << "*** Applications Finder: incomplete: a \x1b[1mreason\nanother line" << std::endl;
    answer(text, key, client);
  });
}

// Gives a good answer and its end, and then does this.
Way afterItsAnswer(const Way &deed) {
  return serving([deed](const NSString &key, const NSString &, FinderClient &client) {
    client.noteLines(kEmptyAnswer, key);
    client.self();
    deed();
  });
}

Way inTheSearch(const Way &deed) {
  return serving([deed](const NSString &, const NSString &, FinderClient &) { deed(); });
}

const std::map<std::string, Way> kStartingWays{
    {"exit-0", [] {}},
    {"exit-3", [] { std::exit(3); }},
    {"kill-itself", [] { ::raise(SIGKILL); }},
    {"never-connect", hang},
    {"print", [] { std::cout << "on standard output" << std::endl; }},
    {"log-much", logMuch},
    {"end-traced", [] { beTraced(), std::exit(0); }},
    {"end-traced-by-its-group", [] { beTraced(false), std::_Exit(0); }}, // without leak checks
    {"hang-traced", [] { beTraced(), hang(); }},
};

const std::map<std::string, Way> kHandOverWays{
    {"connect-and-hang", [] { service(), hang(); }},
    {"connect-and-close", [] { ::shutdown(sendDescriptor(service()), SHUT_RDWR), hang(); }},
    {"send-31-bytes", [] { sendPackets(31, 1); }},
    {"send-33-bytes", [] { sendPackets(33, 1); }},
    {"send-no-descriptor", [] { sendPackets(32, 0); }},
    {"send-two-descriptors", [] { sendPackets(32, 2); }},
    {"send-a-file", [] { sendPacket(32, {STDIN_FILENO}), hang(); }},
    {"send-number-80", [] { sendPort(80), hang(); }},
    {"hang-after-hand-over",
     [] {
       port_t port = PORT_NULL;
       handOver(port);
       hang();
     }},
    {"garbage-bus", garbageBus},
    {"flood", flood},
    {"close-and-hang", closeAndHang},
};

const std::map<std::string, Way> kServingWays{
    {"no-answer", inTheSearch([] { std::exit(0); })},
    {"crash-in-search", inTheSearch([] { ::raise(SIGABRT); })},
    {"hang-in-search", inTheSearch(hang)},
    {"progress-and-hang", serving([](const NSString &key, const NSString &, FinderClient &client) {
       client.noteProgress(
           {12, (std::uint64_t{1} << 32) + 345, 6, key, "/tmp/\x1b[31mred\n/below"_ns});
       hang();
     })},
    {"empty-answer", answering(kEmptyAnswer)},
    {"confinement-twice", logging("Tool: confinement: off\nTool: confinement: limits on")},
    {"incomplete", answeringIncompletely("type\0app\0path\0/a\0(1,2,0,1,2,3)"_ns)},
    {"incomplete-and-unchanged", answeringIncompletely(nullptr)},
    {"garbage-answer", answering("no \x1b]0;list"_ns)},
    {"index-outside", answering("a\0(1,1,0,1)"_ns)},
    {"always-unchanged", answering(nullptr)},
    {"wrong-key", serving([](const NSString &, const NSString &, FinderClient &client) {
       answer(kEmptyAnswer, "/elsewhere"_ns, client);
     })},
    {"echo-previous", serving([](const NSString &key, const NSString &previous,
                                 FinderClient &client) { answer(previous, key, client); })},
    {"answer-twice", serving([](const NSString &key, const NSString &, FinderClient &client) {
       client.noteLines(kEmptyAnswer, key);
       answer(kEmptyAnswer, key, client);
     })},
    {"exit-9-after-answer", afterItsAnswer([] { std::exit(9); })},
    {"hang-after-answer", afterItsAnswer(hang)},
    {"ignore-the-stop", inTheSearch([] { ::signal(SIGTERM, SIG_IGN), hang(); })},
    {"unchanged-in-part", serving([](const NSString &key, const NSString &, FinderClient &client) {
       client.noteStopped();
       answer(nullptr, key, client);
     })},
    {"part-unasked", serving([](const NSString &key, const NSString &, FinderClient &client) {
       client.noteStopped();
       answer(kEmptyAnswer, key, client);
     })},
    {"leave-a-grandchild", serving([](const NSString &key, const NSString &, FinderClient &client) {
       if (::fork() == 0)
         hang();
       answer(kEmptyAnswer, key, client);
     })},
    {"report", report},
};

} // namespace

int main() {
  const std::string name = variable("FAKE_TOOL");
  const auto plain = [](const auto &ways) {
    return [&ways]() -> const auto & { return ways; };
  };
  // Asked for one after the other: some of the hostile ones hold long messages.
  const std::function<const std::map<std::string, Way> &()> tables[] = {
      plain(kStartingWays), plain(kHandOverWays), plain(kServingWays), hostileProcessWays,
      hostileBusWays};
  for (const auto &ways : tables)
    if (const auto way = ways().find(name); way != ways().end()) {
      way->second();
      return 0;
    }
  return 99;
}
