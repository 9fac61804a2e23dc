// InterruptedSystemCall.h - system calls that signals interrupt, as a network's file system lets
// them.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace tesker::test {

// In this thread, until it ends, of every two calls with the number the first fails with EINTR. It
// cannot be taken back: for a process of its own. Another thread answers for the kernel.
class InterruptedSystemCall {
public:
  explicit InterruptedSystemCall(unsigned number) {
    if (::pipe(told_.data()) != 0)
      return;
    thread_ = std::thread([this] { answer(); }); // started before, and so not interrupted itself
    std::array<sock_filter, 4> code{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{code.size(), code.data()};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const int listener = static_cast<int>(::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                                    SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
    worked_ = ::write(told_[1], &listener, sizeof listener) == sizeof listener && listener >= 0;
  }
  ~InterruptedSystemCall() {
    ::close(told_[1]);
    if (thread_.joinable())
      thread_.join();
    ::close(told_[0]);
  }
  InterruptedSystemCall(const InterruptedSystemCall &) = delete;
  InterruptedSystemCall &operator=(const InterruptedSystemCall &) = delete;

  // False where the system does not offer it.
  explicit operator bool() const { return worked_; }
  // How many calls have failed.
  int interruptions() const { return interruptions_; }

private:
  void answer() {
    int listener = -1;
    if (::read(told_[0], &listener, sizeof listener) != sizeof listener || listener < 0)
      return;
    bool interrupted = false;
    for (;;) {
      std::array<pollfd, 2> descriptors{{{listener, POLLIN, 0}, {told_[0], POLLIN, 0}}};
      ::poll(descriptors.data(), descriptors.size(), -1);
      if (descriptors[1].revents != 0)
        break;
      seccomp_notif call{};
      if (::ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0)
        continue;
      interrupted = !interrupted;
      interruptions_ += interrupted ? 1 : 0;
      seccomp_notif_resp response{
          call.id, 0, interrupted ? -EINTR : 0,
          interrupted ? 0 : static_cast<__u32>(SECCOMP_USER_NOTIF_FLAG_CONTINUE)};
      ::ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
    }
    ::close(listener);
  }

  std::array<int, 2> told_{-1, -1};
  std::thread thread_;
  bool worked_ = false;
  int interruptions_ = 0; // read by the interrupted thread, which waits meanwhile
};

} // namespace tesker::test
