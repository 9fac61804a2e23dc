// SystemCallRefusal.h - a system that refuses one of its calls, as an old or a full one does.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace tesker::test {

// Calls whose argument (from 0) is below a number are let through; those of 0 are none.
struct LargeArgument {
  unsigned argument = 0;
  std::uint32_t atLeast = 0;
};

// From now on the call fails with the error, here and in what is executed from here.
inline void refuseSystemCall(long call, int error, LargeArgument large = {}) {
  const auto argument =
      static_cast<std::uint32_t>(offsetof(seccomp_data, args) + large.argument * 8);
  const std::uint32_t number = static_cast<std::uint32_t>(call);
  const std::uint32_t refusal = SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error);
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, large.atLeast, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, refusal),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{6, program};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

} // namespace tesker::test
