// SettingsFiles.h - files of settings, and what is wrong with them, for the person to whom it
// matters.
//
// The defaults take what they can read and log the rest (platform/foundation/NSUserDefaults); that
// a setting does not count is said here, where it was needed.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// Says of a value in the file what is wrong with it.
using ComplainOfSetting = std::function<void(const NSObject &value, std::string_view what)>;
using UseSettings = std::function<void(const NSDictionary &, const ComplainOfSetting &)>;

// Hands on the pairs of the file, if it is there. Answers the first ten complaints as lines of the
// form "FILE:LINE:COLUMN: WHAT", display texts.
struct SettingsRead {
  // Why the file is there and not heeded, such a line, too; nothing when it is heeded or missing.
  std::optional<std::string> whyIgnored;
  std::vector<std::string> complaints;
};
[[nodiscard]] SettingsRead readSettings(const NSString &file, const UseSettings &use);

// The same for all files of a domain, the most important first, for as long as `look` answers that
// the others count, too. What is wrong, line for line.
using LookAtSettings = std::function<bool(const NSDictionary &, const ComplainOfSetting &)>;
[[nodiscard]] std::vector<std::string> problemsOfSettings(std::string_view domain,
                                                          const LookAtSettings &look);

} // namespace tesker
