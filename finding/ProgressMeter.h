// ProgressMeter.h - how far a walk has come, told now and then.
//
// The walk tells the meter of each search path and directory, of every 1,024 entries of a large
// one, and of each application; the meter looks at the clock, of applications for every eighth, and
// ten times a second at most calls its listener.
#pragma once

#include "platform/foundation/NSString.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace tesker {

class ProgressMeter {
public:
  using Listener = std::function<void(const ProgressMeter &)>;
  // So much time passes at least between two calls; the first comes at once.
  static constexpr std::chrono::milliseconds kTimeBetween{100};
  // After so many entries of a directory, and so many applications, the clock is looked at.
  static constexpr std::size_t kEntriesBetween = 1024;
  static constexpr std::size_t kApplicationsBetween = 8;

  explicit ProgressMeter(Listener listener) : listener_(std::move(listener)) {}

  // How many directories and entries of directories the walk has seen, and how many records it has.
  std::uint64_t directories() const { return directories_; }
  std::uint64_t entries() const { return entries_; }
  std::uint64_t records() const { return records_; }
  // Where it is: the search path, and the directory that is being searched; the search path itself
  // before there is one.
  const NSString &path() const { return path_; }
  const NSString &directory() const { return directory_; }

  // ---- for the walk ----

  void begins(const NSString &path);
  void enters(const NSString &directory, std::size_t records);
  // At most kEntriesBetween.
  void counts(std::size_t entries);
  // It looks into an application in the directory.
  void examines(const NSString &directory, std::size_t records);

private:
  void look();

  Listener listener_;
  std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::time_point::min();
  std::size_t examined_ = 0;
  std::uint64_t directories_ = 0, entries_ = 0, records_ = 0;
  NSString path_, directory_;
};

} // namespace tesker
