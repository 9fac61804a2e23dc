#include "tests/faults/FaultTable.h"

#include <algorithm>
#include <cerrno>
#include <string>

namespace tesker::test {

namespace {

// What an entry may be like on a sound system: not there, or not ours.
constexpr int kOrdinary[] = {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, ENXIO};
constexpr int kOfTheDisk[] = {EIO, ESTALE};
constexpr int kMemory[] = {ENOMEM};
constexpr int kDescriptors[] = {ENOMEM, EMFILE, ENFILE};
constexpr int kNoMatter[] = {EIO, EINTR};
constexpr int kMaking[] = {EACCES, EPERM, ENOSPC, EROFS, EDQUOT, EMLINK, ENOMEM, EIO};
constexpr int kRemoving[] = {EACCES, EPERM, EBUSY, EROFS, EIO, ENOMEM};
constexpr int kChanging[] = {EPERM, EROFS, EIO};
constexpr int kLocking[] = {ENOLCK, EWOULDBLOCK, EINVAL};
constexpr int kBinding[] = {EACCES, EADDRINUSE, ENOSPC, EROFS, ENOMEM, EIO};
constexpr int kListening[] = {EADDRINUSE, ENOMEM};
constexpr int kConnecting[] = {ECONNREFUSED, EACCES, ENOENT, EAGAIN, ENOMEM};
constexpr int kAcceptingLess[] = {EMFILE, ENFILE, ENOMEM, ENOBUFS};
constexpr int kAcceptingLater[] = {EAGAIN, ECONNABORTED};
constexpr int kSockets[] = {EMFILE, ENFILE, ENOMEM, ENOBUFS, EACCES};
constexpr int kOptions[] = {ENOMEM, ENOBUFS};
constexpr int kSending[] = {EPIPE, ECONNRESET, ENOMEM, ENOBUFS, ETOOMANYREFS};
constexpr int kReceiving[] = {ECONNRESET, ENOMEM, ENOBUFS};
constexpr int kReading[] = {EIO, ENOMEM};
constexpr int kForking[] = {EAGAIN, ENOMEM};
constexpr int kRefused[] = {EPERM, EACCES};
constexpr int kUnknown[] = {ENOSYS, EPERM, EINVAL};
constexpr int kReaped[] = {ECHILD};
constexpr int kWaiting[] = {ENOMEM, ENOSPC};

constexpr Outcomes kRightOrNone = kWhole | kNone;
constexpr auto T = Side::tool;
constexpr auto M = Side::master;

// A master reads nothing of the tree: the second column of its rows says all.
constexpr FaultRow kTable[] = {
    // The walk, and the master's name, the settings and the users of the tool.
    {T, "statAt", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "statAt", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "statAt", kMemory, kNone, kRightOrNone},
    {T, "statDescriptor", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "statDescriptor", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "statDescriptor", kMemory, kNone, kRightOrNone},
    {T, "open", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "open", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "open", kDescriptors, kNone, kRightOrNone},
    {T, "readAt", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "readAt", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "readAt", kMemory, kNone, kRightOrNone},
    {T, "openDirectory", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "openDirectory", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "openDirectory", kDescriptors, kNone, kRightOrNone},
    {T, "next", kOrdinary, kWhole | kLacking, kRightOrNone},
    {T, "next", kOfTheDisk, kWhole | kIncomplete, kRightOrNone | kIncomplete},
    {T, "next", kMemory, kNone, kRightOrNone},
    {T, "close", kNoMatter, kWhole, kWhole},
    // The tool's talk to its master.
    {T, "createSocket", kSockets, 0, kNone},
    {T, "connect", kConnecting, 0, kNone},
    {T, "access", kOrdinary, 0, kNone},
    {T, "socketOption", kOptions, 0, kNone},
    {T, "createSocketPair", kSockets, 0, kNone},
    {T, "sendMessage", kSending, 0, kNone},
    {T, "receiveMessage", kReceiving, 0, kNone},
    {T, "control", kMemory, 0, kNone},
    {T, "putInPlaceOf", kDescriptors, 0, kNone},
    {T, "poll", kMemory, 0, kRightOrNone},
    {T, "setNice", kRefused, 0, kWhole},
    {T, "programPath", kOrdinary, 0, kWhole},
    {T, "machineName", kRefused, 0, kWhole},

    // The master's private directory.
    {M, "openDirectory", kOrdinary, 0, kWhole},
    {M, "openDirectory", kOfTheDisk, 0, kWhole},
    {M, "openDirectory", kDescriptors, 0, kWhole},
    {M, "next", kOfTheDisk, 0, kWhole},
    {M, "next", kMemory, 0, kWhole},
    {M, "makeTemporaryDirectory", kMaking, 0, kRightOrNone},
    {M, "open", kOrdinary, 0, kRightOrNone | kLeavesDirectory},
    {M, "open", kOfTheDisk, 0, kRightOrNone | kLeavesDirectory},
    {M, "open", kDescriptors, 0, kRightOrNone | kLeavesDirectory},
    {M, "statDescriptor", kOfTheDisk, 0, kRightOrNone},
    {M, "statDescriptor", kMemory, 0, kRightOrNone},
    {M, "lock", kLocking, 0, kRightOrNone},
    {M, "changeDescriptorMode", kChanging, 0, kWhole},
    {M, "makeDirectory", kMaking, 0, kRightOrNone},
    {M, "unlink", kRemoving, 0, kWhole | kLeavesDirectory},
    {M, "removeDirectory", kRemoving, 0, kWhole | kLeavesDirectory},
    {M, "readEntries", kOfTheDisk, 0, kWhole | kLeavesDirectory},
    {M, "close", kNoMatter, 0, kWhole},
    // Its service and the hand-over.
    {M, "statAt", kOrdinary, 0, kRightOrNone | kLeavesDirectory},
    {M, "statAt", kOfTheDisk, 0, kRightOrNone | kLeavesDirectory},
    {M, "statAt", kMemory, 0, kRightOrNone | kLeavesDirectory},
    {M, "createSocket", kSockets, 0, kNone},
    {M, "bind", kBinding, 0, kNone},
    {M, "listen", kListening, 0, kNone},
    {M, "accept", kAcceptingLess, 0, kRightOrNone},
    {M, "accept", kAcceptingLater, 0, kWhole},
    {M, "socketOption", kOptions, 0, kNone},
    {M, "receiveMessage", kReceiving, 0, kNone},
    {M, "createSocketPair", kSockets, 0, kNone},
    {M, "sendMessage", kSending, 0, kNone},
    {M, "poll", kMemory, 0, kRightOrNone},
    // What it waits with.
    {M, "createEventPoll", kDescriptors, 0, kNone},
    {M, "createTimer", kDescriptors, 0, kNone},
    {M, "controlEventPoll", kWaiting, 0, kRightOrNone},
    // Its child.
    {M, "createPipe", kDescriptors, 0, kNone},
    {M, "duplicate", kDescriptors, 0, kNone},
    {M, "control", kMemory, 0, kNone},
    {M, "fork", kForking, 0, kNone},
    {M, "setProcessGroup", kRefused, 0, kWhole},
    {M, "openProcess", kDescriptors, 0, kNone},
    {M, "openProcess", kUnknown, 0, kWhole},
    {M, "read", kReading, 0, kIncomplete | kRightOrNone},
    {M, "waitForChild", kReaped, 0, kRightOrNone},
    {M, "sendSignal", kRefused, 0, kRightOrNone | kLeavesProcess},
    {M, "work", kOrdinary, 0, kWhole},
};

bool isAbout(const FaultRow &row, Side side, std::string_view call) {
  return row.side == side && row.call == call;
}

} // namespace

std::span<const FaultRow> faultTable() { return kTable; }

bool canFail(Side side, std::string_view call, int error) {
  return std::ranges::any_of(kTable, [&](const FaultRow &row) {
    return isAbout(row, side, call) &&
           (error == 0 || std::ranges::find(row.errors, error) != row.errors.end());
  });
}

std::vector<int> errorsOf(Side side, std::string_view call) {
  std::vector<int> errors;
  for (const FaultRow &row : kTable)
    if (isAbout(row, side, call))
      errors.insert(errors.end(), row.errors.begin(), row.errors.end());
  return errors;
}

Outcomes outcomesOf(Side side, std::string_view line, int error, std::string_view tree) {
  const std::string_view call = line.substr(0, line.find(' '));
  Outcomes outcomes = 0;
  for (const FaultRow &row : kTable)
    if (isAbout(row, side, call) && std::ranges::find(row.errors, error) != row.errors.end())
      outcomes |= line.find(tree) != std::string_view::npos ? row.inTree : row.elsewhere;
  return outcomes;
}

} // namespace tesker::test
