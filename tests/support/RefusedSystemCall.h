// RefusedSystemCall.h - a system call that the kernel does not have, or that a sandbox forbids.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <optional>
#include <sys/prctl.h>

namespace tesker::test {

// What an argument, counted from 0, has to be for a call to be refused.
struct RefusedArgument {
  unsigned place;
  unsigned value;
};

// From now on the call with this number fails with the error, in this process and all that it
// starts; with an argument, only the call that has it. It cannot be taken back: for a process of
// its own. Answers 0 or the errno.
inline int refuseSystemCall(unsigned number, unsigned error,
                            std::optional<RefusedArgument> only = std::nullopt) {
  constexpr unsigned numberOffset = offsetof(seccomp_data, nr);
  const unsigned testedOffset =
      only ? static_cast<unsigned>(offsetof(seccomp_data, args)) + only->place * 8 : numberOffset;
  std::array<sock_filter, 6> code{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, numberOffset),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, testedOffset),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, only ? only->value : number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog program{code.size(), code.data()};
  const bool done = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
  return done ? 0 : errno;
}

} // namespace tesker::test
