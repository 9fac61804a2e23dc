// FaultTable.h - which system calls of a search can fail, with what, and what may become of the
// answer then.
#pragma once

#include <cerrno>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tesker::test {

enum class Side { tool, master };

// What may become of an answer, as the bits of a set.
using Outcomes = unsigned;
inline constexpr Outcomes kWhole = 1;      // nothing is missing
inline constexpr Outcomes kLacking = 2;    // only what could not be read is missing, in silence
inline constexpr Outcomes kIncomplete = 4; // the same, and said
inline constexpr Outcomes kNone = 8;       // no answer, and a reason
// What may stay behind until the next search, or this process's end.
inline constexpr Outcomes kLeavesDirectory = 16;
inline constexpr Outcomes kLeavesProcess = 32;

struct FaultRow {
  Side side;
  std::string_view call; // as CountingOperatingSystem writes it
  std::span<const int> errors;
  Outcomes inTree;    // where the call is about the tree that is searched
  Outcomes elsewhere; // and where it is not
};

[[nodiscard]] std::span<const FaultRow> faultTable();

// Whether a call of that side can fail with the error; 0: with any.
[[nodiscard]] bool canFail(Side side, std::string_view call, int error);
// Whether the error may last. A kernel that has nothing to accept does not say again and again that
// it has.
[[nodiscard]] inline bool mayLast(int error) { return error != EAGAIN && error != ECONNABORTED; }
// All errors that it can fail with.
[[nodiscard]] std::vector<int> errorsOf(Side side, std::string_view call);
// What may become of the answer when the call, with what it is about, fails with the error.
[[nodiscard]] Outcomes outcomesOf(Side side, std::string_view line, int error,
                                  std::string_view tree);

} // namespace tesker::test
