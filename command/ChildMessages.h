// ChildMessages.h - what a confined child finds out, as the messages that it sends
// (ConfinedChild.h).
//
// A NUL in a text becomes a blank on the way. What is not such a message gives nothing.
#pragma once

#include "command/CheckFindings.h"
#include "parsing/Judgement.h"

#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// Of one entry.
[[nodiscard]] std::string messageOf(const Judgement &judgement);
[[nodiscard]] std::optional<Judgement> judgementIn(std::string_view message);

[[nodiscard]] std::string messageOf(const Finding &finding);
[[nodiscard]] std::optional<Finding> findingIn(std::string_view message);

// A remark that is made when its entry has been judged.
struct LateRemark {
  std::string path;
  Remark remark;
};
[[nodiscard]] std::string messageOf(const LateRemark &late);
[[nodiscard]] std::optional<LateRemark> lateRemarkIn(std::string_view message);

// The errno with which the work failed.
[[nodiscard]] std::string messageOfError(int error);
[[nodiscard]] std::optional<int> errorIn(std::string_view message);

} // namespace tesker
