// DiskHistory.h - everything that was ever true about some paths of a fake disk.
//
// The plain model beside the caches: it caches nothing, it writes down. A moment is a number that
// grows with every change of the disk.
#pragma once

#include "tests/support/FakeDisk.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tesker::test {

using Moment = std::uint64_t;

// What was true about a path.
struct Truth {
  std::optional<FakeStatus> itself; // a final link not followed
  std::optional<FakeStatus> target; // a final link followed
  std::vector<std::string> names;   // of a directory, a link followed
  bool operator==(const Truth &) const = default;
};

// The later of the two dates of what the path leads to.
inline std::optional<std::int64_t> changeDate(const std::optional<FakeStatus> &status) {
  return status ? std::optional(std::max(status->modified, status->changed)) : std::nullopt;
}

class DiskHistory {
public:
  // The directories among the paths are those that the caches are asked about as directories.
  DiskHistory(const FakeDisk &disk, std::vector<std::string> paths,
              std::vector<std::string> directories)
      : disk_(disk), directories_(std::move(directories)) {
    for (const auto &path : paths)
      histories_[path].push_back({0, lookAt(path)});
  }

  // To be called after each change of the disk.
  void note() {
    ++now_;
    for (auto &[path, history] : histories_) {
      Truth truth = lookAt(path);
      if (truth == history.back().truth)
        continue;
      if (isDirectory(path) && identity(truth) != identity(history.back().truth))
        lastMappingChange_ = now_;
      history.push_back({now_, std::move(truth)});
    }
  }
  // To be called when the clock has ticked or the generation has advanced.
  void noteNewStamp() { stampBegan_ = now_; }

  Moment now() const { return now_; }
  // The first moment that has the present stamp.
  Moment stampBegan() const { return stampBegan_; }
  // When one of the directories' paths last became the path of something else.
  Moment lastMappingChange() const { return lastMappingChange_; }

  const Truth &current(const std::string &path) const { return histories_.at(path).back().truth; }

  // Whether something like that was true at some moment from since on.
  template <class Predicate>
  bool wasTrue(const std::string &path, Moment since, Predicate predicate) const {
    const auto &history = histories_.at(path);
    for (auto entry = history.rbegin(); entry != history.rend(); ++entry) {
      if (predicate(entry->truth))
        return true;
      if (entry->began <= since)
        return false;
    }
    return false;
  }

  // The earliest moment at which the directory had the change date that it has at since: from then
  // on nothing can be told apart by the date.
  Moment beginOfDate(const std::string &path, Moment since) const {
    const auto &history = histories_.at(path);
    auto entry = history.end() - 1;
    while (entry->began > since)
      --entry;
    const auto date = changeDate(entry->truth.target);
    while (entry != history.begin() && changeDate((entry - 1)->truth.target) == date)
      --entry;
    return entry->began;
  }

private:
  struct Entry {
    Moment began;
    Truth truth;
  };

  bool isDirectory(const std::string &path) const {
    return std::find(directories_.begin(), directories_.end(), path) != directories_.end();
  }
  static std::pair<ino_t, ino_t> identity(const Truth &truth) {
    return {truth.itself ? truth.itself->inode : 0, truth.target ? truth.target->inode : 0};
  }
  Truth lookAt(const std::string &path) const {
    Truth truth{disk_.peek(path, false), std::nullopt, {}};
    const bool link = truth.itself && S_ISLNK(truth.itself->mode);
    truth.target = link ? disk_.peek(path, true) : truth.itself;
    if (isDirectory(path))
      truth.names = disk_.names(path);
    return truth;
  }

  const FakeDisk &disk_;
  std::vector<std::string> directories_;
  std::map<std::string, std::vector<Entry>> histories_;
  Moment now_ = 0;
  Moment stampBegan_ = 0;
  Moment lastMappingChange_ = 0;
};

} // namespace tesker::test
