// FakeTool.cpp - a tool that misbehaves in the way that FAKE_TOOL in the environment names.
#include "parsing/RecordEncoding.h"
#include "parsing/TKLine.h"
#include "platform/ports/Bootstrap.h"
#include "platform/ports/Message.h"
#include "protocol/NSConnection.h"
#include "protocol/NSRunLoop.h"

#include <array>
#include <bit>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

using namespace tesker;

[[noreturn]] void hang() {
  for (;;)
    ::pause();
}

// ---- the hand-over ----

port_t service() {
  port_t port = PORT_NULL;
  if (bootstrap_look_up(bootstrap_port(), kMasterServiceName, port) != 0)
    std::exit(20);
  return port;
}

PortMessage handOverMessage(port_t newPort, std::uint32_t number) {
  PortMessage message;
  message.msg_local_port = task_self();
  message.msg_remote_port = service();
  message.msg_id = number;
  message.port = newPort;
  return message;
}

// The master's port; the tool's new one is stored.
port_t handOver(port_t &newPort) {
  if (port_allocate(task_self(), newPort) != 0 || msg_send(handOverMessage(newPort, 78), 0, 0) != 0)
    std::exit(21);
  PortMessage reply;
  reply.msg_local_port = newPort;
  if (msg_receive(reply, 0, 0) != 0 || reply.msg_id != 79)
    std::exit(22);
  return reply.port;
}

Ref<NSConnection> connection() {
  port_t newPort = PORT_NULL;
  const port_t masterPort = handOver(newPort);
  return NSConnection::initWithReceivePort(NSPort::portWithMachPort(newPort),
                                           NSPort::portWithMachPort(masterPort))
      .toRef();
}

// Bytes with some descriptors to the service, as no library would send them.
void sendRaw(std::size_t length, const std::vector<int> &descriptors) {
  std::array<char, 64> bytes{};
  const MessageBytes good = encode(handOverMessage(1, 78));
  std::copy(good.begin(), good.end(), bytes.begin());
  struct iovec part {
    bytes.data(), length
  };
  alignas(struct cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * 2)> control{};
  struct msghdr message {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (!descriptors.empty()) {
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(sizeof(int) * descriptors.size());
    struct cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
    std::copy(descriptors.begin(), descriptors.end(), reinterpret_cast<int *>(CMSG_DATA(header)));
  }
  if (::sendmsg(sendDescriptor(service()), &message, 0) < 0)
    std::exit(23);
}

std::array<int, 2> streamPair() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
    std::exit(24);
  return ends;
}

// ---- requests ----

using Answerer = std::function<void(const NSString &key, const NSString *previous, FinderClient &)>;

class Root final : public FinderRequests {
public:
  explicit Root(Answerer answerer) : answerer_(std::move(answerer)) {}
  void findAppsInSearchPath(const NSString &path, const NSString *previous,
                            Ref<FinderClient> client) override {
    answerer_(path, previous, *client);
  }
  void findAppsForDockPaths(const NSString &, const NSString *previous,
                            Ref<FinderClient> client) override {
    answerer_(*NSString::create("Dock"), previous, *client);
  }

private:
  Answerer answerer_;
};

std::function<void()> serving(Answerer answerer) {
  return [answerer] {
    Root root(answerer);
    const Ref<NSConnection> here = connection();
    here->setRootObject(root);
    NSRunLoop::currentRunLoop().run();
  };
}

[[noreturn]] void finish(FinderClient &client) {
  client.self();
  std::exit(0);
}

const Ref<NSString> &emptyAnswer() {
  static const Ref<NSString> text = NSString::create("(0)");
  return text;
}

// ---- what a well-made child sees ----

std::string variable(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? "unset" : value;
}

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
  static const std::string descriptors = openDescriptors();
  static const std::string dispositions = signals();
  serving([](const NSString &key, const NSString *, FinderClient &client) {
    const Ref<TKLine> record = TKLine::create();
    record->set("descriptors", descriptors);
    record->set("signals", dispositions);
    record->set("cpu", variable("TESKER_HOST_CPU"));
    record->set("log", variable("TESKER_LOG_STDERR"));
    record->set("bootstrap", variable("TESKER_BOOTSTRAP_DIR"));
    record->set("group", ::getpgrp() == ::getpid() ? "own" : "shared");
    const Ref<NSMutableArray> records = NSMutableArray::create();
    records->addObject(record);
    client.noteLines(&encodeParsedApp(*records).get(), key);
    finish(client);
  })();
}

// ---- the ways to misbehave ----

void killItself() { ::raise(SIGKILL); }

void say(port_t masterPort, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t said = ::write(sendDescriptor(masterPort), bytes.data(), bytes.size());
    if (said < 0)
      std::exit(25);
    bytes.remove_prefix(static_cast<std::size_t>(said));
  }
}

// Authenticates, so that the connection stands; answers the master's port.
port_t beginBus() {
  port_t newPort = PORT_NULL;
  const port_t masterPort = handOver(newPort);
  say(masterPort, std::string_view("\0AUTH ANONYMOUS\r\n", 17));
  std::array<char, 512> answer;
  if (::read(receiveDescriptor(newPort), answer.data(), answer.size()) <= 0)
    std::exit(26);
  say(masterPort, "BEGIN\r\n");
  return masterPort;
}

void garbageBus() {
  say(beginBus(), std::string(4096, '\xFE'));
  hang();
}

// An empty piece of a text, as it travels: a method call that wants no reply.
std::string emptyCarryMessage() {
  const auto number = [](std::size_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    return std::string(reinterpret_cast<const char *>(&word), sizeof word);
  };
  const auto pad = [](std::string &text) { text.resize((text.size() + 7) / 8 * 8); };
  std::string fields;
  const auto field = [&](char code, char type, std::string_view value) {
    pad(fields);
    fields += {code, 1, type, 0};
    fields += type == 'g' ? std::string(1, static_cast<char>(value.size())) : number(value.size());
    fields += std::string(value) + '\0';
  };
  field(1, 'o', "/");
  field(2, 's', "Tesker.Connection");
  field(3, 's', "carry");
  field(8, 'g', "ay");
  const char order = std::endian::native == std::endian::little ? 'l' : 'B';
  std::string message{order, 1, 1, 1}; // call, no reply expected, version
  message += number(sizeof(std::uint32_t)) + number(7) + number(fields.size()) + fields;
  pad(message);
  return message + number(0);
}

// Sends without end, and says so once the master has begun to read.
void flood() {
  const port_t masterPort = beginBus();
  const int descriptor = sendDescriptor(masterPort);
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  const std::string message = emptyCarryMessage();
  std::string messages;
  while (messages.size() < (1U << 20))
    messages += message;
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

void answerText(const std::string &text, const NSString &key, FinderClient &client) {
  client.noteLines(&NSString::create(text).get(), key);
  finish(client);
}

const std::map<std::string, std::function<void()>> &ways() {
  static const std::map<std::string, std::function<void()>> all{
      {"exit-0", [] {}},
      {"exit-3", [] { std::exit(3); }},
      {"kill-itself", killItself},
      {"never-connect", hang},
      {"connect-and-hang", [] { service(), hang(); }},
      {"connect-and-close", [] { ::shutdown(sendDescriptor(service()), SHUT_RDWR), hang(); }},
      {"send-31-bytes", [] { sendRaw(31, {streamPair()[0]}), hang(); }},
      {"send-33-bytes", [] { sendRaw(33, {streamPair()[0]}), hang(); }},
      {"send-no-descriptor", [] { sendRaw(32, {}), hang(); }},
      {"send-two-descriptors",
       [] {
         const std::array<int, 2> ends = streamPair();
         sendRaw(32, {ends[0], ends[1]});
         hang();
       }},
      {"send-a-file", [] { sendRaw(32, {STDIN_FILENO}), hang(); }},
      {"send-number-80",
       [] {
         port_t port = PORT_NULL;
         (void)port_allocate(task_self(), port);
         (void)msg_send(handOverMessage(port, 80), 0, 0);
         hang();
       }},
      {"hang-after-hand-over",
       [] {
         port_t port = PORT_NULL;
         handOver(port);
         hang();
       }},
      {"garbage-bus", garbageBus},
      {"flood", flood},
      {"close-and-hang",
       [] {
         port_t port = PORT_NULL;
         port_deallocate(handOver(port));
         port_deallocate(port);
         hang();
       }},
      {"no-answer",
       serving([](const NSString &, const NSString *, FinderClient &) { std::exit(0); })},
      {"crash-in-search",
       serving([](const NSString &, const NSString *, FinderClient &) { ::raise(SIGABRT); })},
      {"hang-in-search",
       serving([](const NSString &, const NSString *, FinderClient &) { hang(); })},
      {"empty-answer", serving([](const NSString &key, const NSString *, FinderClient &client) {
         answerText("(0)", key, client);
       })},
      {"garbage-answer", serving([](const NSString &key, const NSString *, FinderClient &client) {
         answerText("no \x1b]0;list", key, client);
       })},
      {"index-outside", serving([](const NSString &key, const NSString *, FinderClient &client) {
         answerText(std::string("a\0(1,1,0,1)", 11), key, client);
       })},
      {"wrong-key", serving([](const NSString &, const NSString *, FinderClient &client) {
         answerText("(0)", *NSString::create("/elsewhere"), client);
       })},
      {"always-unchanged", serving([](const NSString &key, const NSString *, FinderClient &client) {
         client.noteLines(nullptr, key);
         finish(client);
       })},
      {"echo-previous",
       serving([](const NSString &key, const NSString *previous, FinderClient &client) {
         client.noteLines(previous, key);
         finish(client);
       })},
      {"answer-twice", serving([](const NSString &key, const NSString *, FinderClient &client) {
         client.noteLines(&emptyAnswer().get(), key);
         answerText("(0)", key, client);
       })},
      {"exit-9-after-answer",
       serving([](const NSString &key, const NSString *, FinderClient &client) {
         client.noteLines(&emptyAnswer().get(), key);
         client.self();
         std::exit(9);
       })},
      {"hang-after-answer",
       serving([](const NSString &key, const NSString *, FinderClient &client) {
         client.noteLines(&emptyAnswer().get(), key);
         client.self();
         hang();
       })},
      {"leave-a-grandchild",
       serving([](const NSString &key, const NSString *, FinderClient &client) {
         if (::fork() == 0)
           hang();
         answerText("(0)", key, client);
       })},
      {"log-much", logMuch},
      {"print", [] { std::cout << "on standard output" << std::endl; }},
      {"report", report},
  };
  return all;
}

} // namespace

int main() {
  const auto way = ways().find(variable("FAKE_TOOL"));
  if (way == ways().end())
    return 99;
  way->second();
  return 0;
}
