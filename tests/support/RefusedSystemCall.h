// RefusedSystemCall.h - a system call that the kernel does not have, or that a sandbox forbids.
#pragma once

#include <array>
#include <cerrno>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace tesker::test {

// From now on the call with this number fails with the error, in this process and all that it
// starts. It cannot be taken back: for a process of its own. Answers 0 or the errno.
inline int refuseSystemCall(unsigned number, unsigned error) {
  std::array<sock_filter, 4> code{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog program{code.size(), code.data()};
  const bool done = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
  return done ? 0 : errno;
}

} // namespace tesker::test
