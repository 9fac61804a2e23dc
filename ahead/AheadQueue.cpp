#include "ahead/AheadQueue.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <utility>

namespace tesker {

namespace {

// Of one task, its place in the map included.
std::size_t bytesOf(const AheadTask &task) {
  return sizeof(AheadTask) + 2 * task.order.size() + task.path.size() + task.names.size() + 64;
}

// As bytes that compare as the numbers do.
std::string with(std::string_view order, std::uint32_t number) {
  std::string text(order);
  for (int shift = 24; shift >= 0; shift -= 8)
    text += static_cast<char>(static_cast<unsigned char>(number >> shift));
  return text;
}

constexpr std::uint32_t kBehindNames = std::uint32_t{1} << 31;

} // namespace

std::string AheadQueue::orderBelow(std::string_view directory, std::uint32_t index) {
  return with(directory, kBehindNames | index);
}

std::string AheadQueue::orderOfNames(std::string_view directory, std::uint32_t first) {
  return with(directory, first & ~kBehindNames);
}

std::string_view AheadQueue::orderOfDirectory(std::string_view below) {
  return below.substr(0, below.size() - sizeof(std::uint32_t));
}

bool AheadQueue::add(AheadTask &task) {
  const std::lock_guard lock(mutex_);
  const std::size_t bytes = bytesOf(task);
  if (tasks_.size() >= kMostTasks || bytes > kMostBytes - std::min(bytes_, kMostBytes))
    return false;
  std::string order = task.order;
  if (!tasks_.try_emplace(std::move(order), std::move(task)).second)
    return false;
  bytes_ += bytes;
  changed_.notify_one();
  return true;
}

bool AheadQueue::mayTake() const {
  return !tasks_.empty() && counted_ < toolsEntries_ + kMostAhead;
}

AheadTask AheadQueue::take() {
  AheadTask task = std::move(tasks_.extract(tasks_.begin()).mapped());
  bytes_ -= bytesOf(task);
  return task;
}

std::optional<AheadTask> AheadQueue::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return hasEnded_ || mayTake(); });
  return hasEnded_ ? std::nullopt : std::optional(take());
}

std::optional<AheadTask> AheadQueue::nextNow() {
  const std::lock_guard lock(mutex_);
  return hasEnded_ || !mayTake() ? std::nullopt : std::optional(take());
}

void AheadQueue::end() {
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

void AheadQueue::count(std::uint64_t entries) {
  const std::lock_guard lock(mutex_);
  counted_ += entries;
}

void AheadQueue::dropBefore(std::string_view order) {
  while (!tasks_.empty() && tasks_.begin()->first < order)
    (void)take();
  // Nothing is ahead of the tool, whatever was skipped on the way.
  counted_ = toolsEntries_;
}

void AheadQueue::reached(std::uint64_t entries, std::string_view directory) {
  const std::lock_guard lock(mutex_);
  toolsEntries_ = std::max(toolsEntries_, entries);
  toolsDirectory_ = directory;
  const auto pending = std::ranges::find_if(tasks_, [&](const auto &pair) {
    const auto &[order, task] = pair;
    return task.kind != AheadTask::Kind::names && isAtOrBelow(directory, task.path);
  });
  if (pending != tasks_.end())
    dropBefore(std::string(pending->first));
  changed_.notify_all();
}

std::string AheadQueue::nameOnTheWay(std::string_view directory) const {
  const std::lock_guard lock(mutex_);
  std::string_view rest = toolsDirectory_;
  if (!isAtOrBelow(rest, directory))
    return "";
  rest.remove_prefix(directory == "/" ? 1 : std::min(directory.size() + 1, rest.size()));
  return std::string(rest.substr(0, rest.find('/')));
}

void AheadQueue::passedTo(std::string_view order) {
  const std::lock_guard lock(mutex_);
  dropBefore(order);
  changed_.notify_all();
}

} // namespace tesker
