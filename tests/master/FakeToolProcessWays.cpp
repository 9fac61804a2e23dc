// What a hostile tool does as a process, and in the hand-over.

#include "platform/ports/Bootstrap.h"
#include "tests/master/FakeToolSteps.h"
#include "tests/master/FakeToolWays.h"
#include "tests/ports/RawSockets.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace tesker::fake_tool {

namespace {

// So that what a search leaves behind does not live for ever.
constexpr unsigned kSecondsOfADescendant = 60;

std::string bootstrapPath(const std::string &name = "") {
  return bootstrapDirectory() + "/" + name;
}

FileDescriptor connectOnce() {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  const sockaddr_un address = test::addressOf(bootstrapPath("Miniapp_boot_port"));
  if (::connect(socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
    socket.reset();
  return socket;
}

void connectOften() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  std::vector<FileDescriptor> kept;
  while (kept.size() < 8192 && (kept.empty() || kept.back()))
    kept.push_back(connectOnce());
  hang();
}

void connectWithoutEnd() {
  for (;;)
    (void)connectOnce();
}

// A descendant in a session of its own, that is not killed with the tool.
void leave(const Way &deed) {
  if (::fork() != 0)
    return;
  ::setsid();
  ::alarm(kSecondsOfADescendant);
  deed();
  hang();
}

void logWithoutPause(std::string_view text) {
  std::string much;
  while (much.size() < 65536)
    much += text;
  while (writeAll(STDERR_FILENO, much)) {
  }
  hang();
}

void sendCarrying(int type) {
  const test::SocketPair pair(type);
  sendPacket(32, {pair.far.number()});
  hang();
}

// The port's other end has gone, or takes nothing more.
void sendUselessPort(bool full) {
  test::SocketPair pair(SOCK_STREAM);
  while (full && ::send(pair.far.number(), "filling", 7, MSG_DONTWAIT) > 0) {
  }
  if (!full)
    pair.near.reset();
  sendPacket(32, {pair.far.number()});
  pair.far.reset();
  hang();
}

void fillTheDirectory() {
  std::string nest = bootstrapPath("nest");
  for (int i = 0; i < 100; ++i, nest += "/nest")
    ::mkdir(nest.c_str(), 0700);
  for (int i = 0; i < 2000; ++i)
    ::close(::open(bootstrapPath(std::to_string(i)).c_str(), O_CREAT | O_WRONLY, 0));
  (void)!::symlink("/", bootstrapPath("link").c_str());
  ::mkfifo(bootstrapPath("fifo").c_str(), 0600);
}

} // namespace

const Ways &hostileProcessWays() {
  static const Ways ways{
      {"exit-255", [] { ::_exit(255); }},
      {"segfault", [] { ::raise(SIGSEGV); }},
      {"exec-another", [] { ::execl("/bin/true", "true", nullptr); }},
      {"stop-itself", [] { ::raise(SIGSTOP); }},
      {"stop-itself-in-the-search",
       [] {
         port_t port = PORT_NULL;
         handOver(port);
         ::raise(SIGSTOP);
       }},
      {"ignore-signals", [] { ::signal(SIGTERM, SIG_IGN), ::signal(SIGHUP, SIG_IGN), hang(); }},
      {"leave-its-group", [] { ::setpgid(0, ::getppid()), ::setsid(), hang(); }},
      {"leave-many",
       [] {
         for (int i = 0; i < 20; ++i)
           leave([] {});
       }},
      {"leave-the-connection",
       [] {
         port_t port = PORT_NULL;
         handOver(port);
         leave([] {});
       }},
      {"leave-the-service", [] { service(), leave([] {}); }},
      {"leave-one-that-writes-files",
       [] {
         leave([] {
           for (int i = 0;; ++i)
             ::close(::open(bootstrapPath("f" + std::to_string(i)).c_str(), O_CREAT, 0600));
         });
       }},
      {"fill-the-directory", fillTheDirectory},
      {"remove-the-directory",
       [] {
         ::unlink(bootstrapPath("Miniapp_boot_port").c_str());
         ::rmdir(bootstrapPath().c_str());
       }},
      {"replace-the-service",
       [] {
         ::unlink(bootstrapPath("Miniapp_boot_port").c_str());
         ::close(test::boundSocket(bootstrapPath("Miniapp_boot_port")).release());
       }},
      {"close-the-directory", [] { ::chmod(bootstrapPath().c_str(), 0); }},
      {"close-its-log", [] { ::close(STDOUT_FILENO), ::close(STDERR_FILENO), hang(); }},
      {"log-without-pause", [] { logWithoutPause("a line\n"); }},
      {"log-empty-lines-without-pause", [] { logWithoutPause("\n"); }},
      {"log-one-line-without-end", [] { logWithoutPause("never a line feed "); }},
      {"log-nuls", [] { logWithoutPause(std::string(1000, '\0')); }},
      {"connect-often", connectOften},
      {"connect-without-end", connectWithoutEnd},
      {"connect-from-many",
       [] {
         for (int i = 0; i < 8; ++i)
           leave(connectWithoutEnd);
         hang();
       }},
      {"send-an-empty-packet", [] { sendPacket(0, {}), hang(); }},
      {"send-64-bytes", [] { sendPacket(64, {STDIN_FILENO}), hang(); }},
      {"send-many-descriptors",
       [] { sendPacket(32, std::vector<int>(253, STDERR_FILENO)), hang(); }},
      {"send-a-packet-socket", [] { sendCarrying(SOCK_SEQPACKET); }},
      {"send-a-datagram-socket", [] { sendCarrying(SOCK_DGRAM); }},
      {"send-number-79", [] { sendPort(79), hang(); }},
      {"send-a-dead-port", [] { sendUselessPort(false); }},
      {"send-a-full-port", [] { sendUselessPort(true); }},
      {"hand-over-twice", [] { sendPort(78), sendPort(78), hang(); }},
  };
  return ways;
}

} // namespace tesker::fake_tool
