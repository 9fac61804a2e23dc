#include "finding/SystemCallFilter.h"

#include <algorithm>
#include <array>
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

#define ALLOW_WITHOUT(call, argument, bits)                                                        \
  IF_EQUAL(SYS_##call, 0, 4), LOAD(lowerHalf(argument)), IF_ANY_BIT(bits, 1, 0),                   \
      RETURN(SECCOMP_RET_ALLOW), RETURN(kRefuse)
#define ALLOW_WITH(call, argument, value)                                                          \
  IF_EQUAL(SYS_##call, 0, 4), LOAD(lowerHalf(argument)), IF_EQUAL(value, 0, 1),                    \
      RETURN(SECCOMP_RET_ALLOW), RETURN(kRefuse)

// Calls that may be made with any arguments.
constexpr auto kAllowed = [] {
  auto calls = std::to_array<std::uint32_t>({
      // Reading and listing
      SYS_newfstatat,
      SYS_getdents64,
      SYS_close,
      SYS_pread64,
      SYS_read,
      SYS_readv,
      SYS_lseek,
      SYS_fstat,
      SYS_statx,
      SYS_statfs,
      SYS_fstatfs,
      SYS_readlinkat,
      SYS_faccessat,
      SYS_faccessat2,
      SYS_getcwd,
      SYS_fadvise64,
      // The master and the log
      SYS_ppoll,
      SYS_sendmsg,
      SYS_recvmsg,
      SYS_sendto,
      SYS_recvfrom,
      SYS_dup3,
      SYS_write,
      SYS_writev,
      SYS_connect,
      SYS_shutdown,
      SYS_getsockopt,
      SYS_getsockname,
      SYS_getpeername,
      // Memory
      SYS_brk,
      SYS_munmap,
      SYS_mremap,
      SYS_madvise,
      // Time
      SYS_clock_gettime,
      SYS_clock_getres,
      SYS_clock_nanosleep,
      SYS_gettimeofday,
      SYS_nanosleep,
      // The process itself
      SYS_futex,
      SYS_getrandom,
      SYS_getpid,
      SYS_gettid,
      SYS_getuid,
      SYS_geteuid,
      SYS_getgid,
      SYS_getegid,
      SYS_getgroups,
      SYS_uname,
      SYS_sysinfo,
      SYS_sched_yield,
      SYS_sched_getaffinity,
      SYS_rt_sigaction,
      SYS_rt_sigprocmask,
      SYS_rt_sigreturn,
      SYS_sigaltstack,
      SYS_restart_syscall,
      SYS_exit,
      SYS_exit_group,
#ifdef __x86_64__ // which has kept the calls that others have in one form only
      SYS_poll,
      SYS_stat,
      SYS_lstat,
      SYS_access,
      SYS_readlink,
      SYS_time,
#endif
  });
  std::ranges::sort(calls);
  return calls;
}();

// What the others have to be made with. The most frequent one comes first.
constexpr sock_filter kOthers[] = {
    ALLOW_WITHOUT(openat, 2, kOpensForMore),
    // F_DUPFD to F_SETFL and F_DUPFD_CLOEXEC: not those that have signals sent, or lock.
    IF_EQUAL(SYS_fcntl, 0, 5),
    LOAD(lowerHalf(1)),
    IF_AT_LEAST(F_SETFL + 1, 0, 1),
    IF_EQUAL(F_DUPFD_CLOEXEC, 0, 1),
    RETURN(SECCOMP_RET_ALLOW),
    RETURN(kRefuse),
    ALLOW_WITH(socket, 0, AF_UNIX),
    ALLOW_WITHOUT(mmap, 2, PROT_EXEC),
    ALLOW_WITHOUT(mprotect, 2, PROT_EXEC),
    // Limits may be asked for, not set: the new ones are nil.
    IF_EQUAL(SYS_prlimit64, 0, 6),
    LOAD(lowerHalf(2)),
    IF_EQUAL(0, 0, 3),
    LOAD(upperHalf(2)),
    IF_EQUAL(0, 0, 1),
    RETURN(SECCOMP_RET_ALLOW),
    RETURN(kRefuse),
#ifdef __x86_64__
    ALLOW_WITHOUT(open, 1, kOpensForMore),
#endif
    ALLOW_WITH(tgkill, 0, kOwnNumber), // as abort(3) does

    IF_AT_LEAST(kFirstRecentCall, 0, 1),
    RETURN(kUnknown),
    RETURN(kRefuse),
};

constexpr sock_filter kBeginning[] = {
    LOAD(offsetof(seccomp_data, arch)),
    IF_EQUAL(kArchitecture, 1, 0),
    RETURN(kUnknown),
    LOAD(offsetof(seccomp_data, nr)),
};

// The numbers where what is allowed with any arguments begins and ends, in turn.
struct Bounds {
  std::uint32_t number[2 * kAllowed.size()];
  std::size_t count;
};
constexpr Bounds kBounds = [] {
  Bounds bounds{};
  for (const std::uint32_t call : kAllowed) {
    if (bounds.count == 0 || bounds.number[bounds.count - 1] != call)
      bounds.number[bounds.count++] = call;
    else
      --bounds.count; // it goes on
    bounds.number[bounds.count++] = call + 1;
  }
  return bounds;
}();

// The beginning, then the bounds as a tree: one instruction each, with those below it behind it and
// the others behind these. Between the tree and the other calls is the instruction that allows.
// Linux asks for each call there is as a filter is put in force, so a plain list, in which most are
// compared with all, would take that long each time the tool starts.
constexpr std::size_t kTreeBegin = std::size(kBeginning);
constexpr std::size_t kAllow = kTreeBegin + kBounds.count;
constexpr std::size_t kOthersBegin = kAllow + 1;
using Table = std::array<sock_filter, kOthersBegin + std::size(kOthers)>;

// Where it goes on with a number that `first` bounds are not above and those from `end` on are,
// whose instructions stand from the place on.
constexpr std::size_t targetOf(std::size_t first, std::size_t end, std::size_t place) {
  if (first != end)
    return place;
  return first % 2 == 1 ? kAllow : kOthersBegin;
}

constexpr void putTree(Table &table, std::size_t first, std::size_t end, std::size_t place) {
  if (first == end)
    return;
  const std::size_t middle = first + (end - first) / 2;
  const std::size_t lower = place + 1, upper = lower + (middle - first);
  const auto skip = [&](std::size_t target) { return static_cast<std::uint8_t>(target - lower); };
  table[place] = IF_AT_LEAST(kBounds.number[middle], skip(targetOf(middle + 1, end, upper)),
                             skip(targetOf(first, middle, lower)));
  putTree(table, first, middle, lower);
  putTree(table, middle + 1, end, upper);
}

constexpr Table kTable = [] {
  static_assert(kBounds.count <= UINT8_MAX, "an instruction skips no more");
  Table table{};
  std::ranges::copy(kBeginning, table.begin());
  putTree(table, 0, kBounds.count, kTreeBegin);
  table[kAllow] = RETURN(SECCOMP_RET_ALLOW);
  std::ranges::copy(kOthers, table.begin() + kOthersBegin);
  return table;
}();

#undef LOAD
#undef RETURN
#undef IF_EQUAL
#undef IF_AT_LEAST
#undef IF_ANY_BIT
#undef ALLOW_WITHOUT
#undef ALLOW_WITH

} // namespace

Result<> filterSystemCalls() {
  Table table = kTable;
  for (sock_filter &instruction : table)
    if (instruction.k == kOwnNumber)
      instruction.k = static_cast<std::uint32_t>(::getpid());
  const sock_fprog filter{static_cast<unsigned short>(table.size()), table.data()};
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
