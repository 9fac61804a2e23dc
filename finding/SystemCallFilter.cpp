#include "finding/SystemCallFilter.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <iterator>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tesker {

#if (defined(__x86_64__) && !defined(__ILP32__)) || (defined(__aarch64__) && defined(__AARCH64EL__))

namespace {

#ifdef __x86_64__
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#else
constexpr std::uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#endif

// From here on all processors number the calls alike, and a C library falls back where it misses
// one. The numbers of x86-64's other calling convention (bit 30) are above it, too.
constexpr std::uint32_t kFirstRecentCall = 424;

// What an open(2) for anything but reading has one of.
constexpr std::uint32_t kOpensForMore =
    O_ACCMODE | O_CREAT | O_TRUNC | (O_TMPFILE & ~static_cast<unsigned>(O_DIRECTORY));

// Stands for the number of the process in the table; no process has it.
constexpr std::uint32_t kOwnNumber = 0xffffffff;

constexpr std::uint32_t kRefuse = SECCOMP_RET_ERRNO | EPERM;
constexpr std::uint32_t kUnknown = SECCOMP_RET_ERRNO | ENOSYS;

// The lower and the upper half of an argument, on a little-endian processor.
constexpr std::uint32_t lowerHalf(unsigned argument) {
  return static_cast<std::uint32_t>(offsetof(seccomp_data, args) + std::size_t{argument} * 8);
}
constexpr std::uint32_t upperHalf(unsigned argument) { return lowerHalf(argument) + 4; }

// The instructions. A test goes on with the next one or skips as many as it says. The number of the
// call stays loaded until an argument is, and whatever follows that decides.
#define LOAD(offset) BPF_STMT(BPF_LD | BPF_W | BPF_ABS, (offset))
#define RETURN(value) BPF_STMT(BPF_RET | BPF_K, (value))
#define IF_EQUAL(value, skipIf, skipElse)                                                          \
  BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (value), (skipIf), (skipElse))
#define IF_AT_LEAST(value, skipIf, skipElse)                                                       \
  BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, (value), (skipIf), (skipElse))
#define IF_ANY_BIT(bits, skipIf, skipElse)                                                         \
  BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, (bits), (skipIf), (skipElse))

#define ALLOW(call) IF_EQUAL(SYS_##call, 0, 1), RETURN(SECCOMP_RET_ALLOW)
#define ALLOW_WITHOUT(call, argument, bits)                                                        \
  IF_EQUAL(SYS_##call, 0, 4), LOAD(lowerHalf(argument)), IF_ANY_BIT(bits, 1, 0),                   \
      RETURN(SECCOMP_RET_ALLOW), RETURN(kRefuse)
#define ALLOW_WITH(call, argument, value)                                                          \
  IF_EQUAL(SYS_##call, 0, 4), LOAD(lowerHalf(argument)), IF_EQUAL(value, 0, 1),                    \
      RETURN(SECCOMP_RET_ALLOW), RETURN(kRefuse)

// Those that a search makes for each entry or directory come first.
constexpr sock_filter kTable[] = {
    LOAD(offsetof(seccomp_data, arch)),
    IF_EQUAL(kArchitecture, 1, 0),
    RETURN(kUnknown),
    LOAD(offsetof(seccomp_data, nr)),

    // Reading and listing
    ALLOW(newfstatat),
    ALLOW(getdents64),
    ALLOW(close),
    ALLOW_WITHOUT(openat, 2, kOpensForMore),
    ALLOW(pread64),
    ALLOW(read),
    ALLOW(readv),
    ALLOW(lseek),
    ALLOW(fstat),
    ALLOW(statx),
    ALLOW(statfs),
    ALLOW(fstatfs),
    ALLOW(readlinkat),
    ALLOW(faccessat),
    ALLOW(faccessat2),
    ALLOW(getcwd),
    ALLOW(fadvise64),
    // F_DUPFD to F_SETFL and F_DUPFD_CLOEXEC: not those that have signals sent, or lock.
    IF_EQUAL(SYS_fcntl, 0, 5),
    LOAD(lowerHalf(1)),
    IF_AT_LEAST(F_SETFL + 1, 0, 1),
    IF_EQUAL(F_DUPFD_CLOEXEC, 0, 1),
    RETURN(SECCOMP_RET_ALLOW),
    RETURN(kRefuse),

    // The master and the log
    ALLOW(ppoll),
    ALLOW(sendmsg),
    ALLOW(recvmsg),
    ALLOW(sendto),
    ALLOW(recvfrom),
    ALLOW(dup3),
    ALLOW(write),
    ALLOW(writev),
    ALLOW_WITH(socket, 0, AF_UNIX),
    ALLOW(connect),
    ALLOW(shutdown),
    ALLOW(getsockopt),
    ALLOW(getsockname),
    ALLOW(getpeername),

    // Memory
    ALLOW(brk),
    ALLOW_WITHOUT(mmap, 2, PROT_EXEC),
    ALLOW_WITHOUT(mprotect, 2, PROT_EXEC),
    ALLOW(munmap),
    ALLOW(mremap),
    ALLOW(madvise),

    // Time
    ALLOW(clock_gettime),
    ALLOW(clock_getres),
    ALLOW(clock_nanosleep),
    ALLOW(gettimeofday),
    ALLOW(nanosleep),

    // The process itself
    ALLOW(futex),
    ALLOW(getrandom),
    ALLOW(getpid),
    ALLOW(gettid),
    ALLOW(getuid),
    ALLOW(geteuid),
    ALLOW(getgid),
    ALLOW(getegid),
    ALLOW(getgroups),
    ALLOW(uname),
    ALLOW(sysinfo),
    ALLOW(sched_yield),
    ALLOW(sched_getaffinity),
    ALLOW(rt_sigaction),
    ALLOW(rt_sigprocmask),
    ALLOW(rt_sigreturn),
    ALLOW(sigaltstack),
    ALLOW(restart_syscall),
    ALLOW(exit),
    ALLOW(exit_group),
    // Limits may be asked for, not set: the new ones are nil.
    IF_EQUAL(SYS_prlimit64, 0, 6),
    LOAD(lowerHalf(2)),
    IF_EQUAL(0, 0, 3),
    LOAD(upperHalf(2)),
    IF_EQUAL(0, 0, 1),
    RETURN(SECCOMP_RET_ALLOW),
    RETURN(kRefuse),

#ifdef __x86_64__ // which has kept the calls that others have in one form only
    ALLOW(poll),
    ALLOW_WITHOUT(open, 1, kOpensForMore),
    ALLOW(stat),
    ALLOW(lstat),
    ALLOW(access),
    ALLOW(readlink),
    ALLOW(time),
#endif

    ALLOW_WITH(tgkill, 0, kOwnNumber), // as abort(3) does

    IF_AT_LEAST(kFirstRecentCall, 0, 1),
    RETURN(kUnknown),
    RETURN(kRefuse),
};

#undef LOAD
#undef RETURN
#undef IF_EQUAL
#undef IF_AT_LEAST
#undef IF_ANY_BIT
#undef ALLOW
#undef ALLOW_WITHOUT
#undef ALLOW_WITH

} // namespace

Result<> filterSystemCalls() {
  sock_filter table[std::size(kTable)];
  std::ranges::copy(kTable, table);
  for (sock_filter &instruction : table)
    if (instruction.k == kOwnNumber)
      instruction.k = static_cast<std::uint32_t>(::getpid());
  const sock_fprog filter{static_cast<unsigned short>(std::size(table)), table};
  // Older kernels slow a filtered process down, lest it run code that spies on others by guessed
  // branches; the tool runs no code but its own. Kernels older still do not know the flag.
  for (const unsigned long flags : {SECCOMP_FILTER_FLAG_SPEC_ALLOW, 0UL})
    if (::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &filter) == 0)
      return {};
  return Failure{errno};
}

#else

Result<> filterSystemCalls() { return Failure{ENOSYS}; }

#endif

} // namespace tesker
