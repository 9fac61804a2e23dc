#include "catalog/SearchPathWatches.h"

#include "catalog/DependencyWalk.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <set>
#include <string_view>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unordered_set>

namespace tesker {

namespace {

constexpr std::chrono::milliseconds kTimeForACall{20};
constexpr std::chrono::milliseconds kTimeForLettingGo{5}; // beside something else

// Each removal is an event, of which there is no room for more than some thousand.
constexpr std::size_t kMostUnconfirmed = 1024;

Result<bool> advanced(DependencyWalk &walk, const Deadline &deadline) {
  try {
    return walk.advance(deadline);
  } catch (const std::bad_alloc &) {
    return Failure{ENOMEM};
  }
}

} // namespace

// The search paths that are told of, each once.
class SearchPathWatches::Changed {
public:
  explicit Changed(const std::map<std::string, Watched> &paths) : paths_(paths) {}

  // Those that the predicate holds for; it is asked only of the others.
  template <class Predicate> void add(Predicate mayBe) {
    for (const auto &[path, watched] : paths_)
      if (!told_.contains(path) && mayBe(watched))
        told_.insert(path);
  }
  void addAll() {
    add([](const Watched &) { return true; });
  }
  std::vector<std::string> paths() const { return {told_.begin(), told_.end()}; }

private:
  const std::map<std::string, Watched> &paths_;
  std::set<std::string> told_;
};

bool SearchPathWatches::Watched::mayChangeBy(const WatchEvent &event) const {
  return current.mayChangeBy(event) || (next && next->dependencies.mayChangeBy(event));
}

// Of a walk that is not done it is not known yet which places there will be.
bool SearchPathWatches::Watched::mayChangeByMount(const std::string &mountPoint) const {
  return next || current.places.areConcernedBy(mountPoint);
}

bool SearchPathWatches::Watched::has(int watch) const {
  return current.has(watch) || (next && next->dependencies.has(watch));
}

void SearchPathWatches::Watched::drop(int watch) {
  current.drop(watch);
  if (next)
    next->dependencies.drop(watch);
}

SearchPathWatches::SearchPathWatches(FileDescriptor ready, FileDescriptor events, MountTable mounts)
    : ready_(std::move(ready)), events_(std::move(events)), mounts_(std::move(mounts)) {}

SearchPathWatches::SearchPathWatches(SearchPathWatches &&) noexcept = default;
SearchPathWatches::~SearchPathWatches() = default;

Result<SearchPathWatches> SearchPathWatches::create() {
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor events(system.createWatches());
  if (!events)
    return Failure{errno};
  auto mounts = MountTable::open();
  if (!mounts)
    return mounts.failure();
  FileDescriptor ready(system.createEventPoll());
  if (!ready)
    return Failure{errno};
  // As nobody takes events from the poll itself, it stays readable while there are some to read.
  if (system.controlEventPoll(ready.number(), EPOLL_CTL_ADD, events.number(), EPOLLIN) != 0 ||
      system.controlEventPoll(ready.number(), EPOLL_CTL_ADD, mounts->descriptor(), EPOLLPRI) != 0)
    return Failure{errno};
  return SearchPathWatches(std::move(ready), std::move(events), std::move(*mounts));
}

void SearchPathWatches::begin(const std::string &searchPath) {
  // So that all can be retired where there is no memory: two for each path.
  retired_.reserve(retired_.size() + 2 * (paths_.size() + 1));
  auto walk = std::make_unique<DependencyWalk>(events_.number(), searchPath);
  Watched &watched = paths_[searchPath];
  if (watched.next)
    retire(watched.next->dependencies);
  watched.next = std::move(walk);
}

Result<SearchPathWatches::Progress> SearchPathWatches::advance(const std::string &searchPath) {
  const auto found = paths_.find(searchPath);
  if (found == paths_.end())
    return Progress::done;
  Watched &watched = found->second;
  if (watched.next) {
    const auto isDone = advanced(*watched.next, Deadline::in(kTimeForACall));
    if (!isDone) {
      forget(searchPath);
      return isDone.failure();
    }
    if (!*isDone)
      return Progress::more;
    retire(watched.current);
    watched.current = std::move(watched.next->dependencies);
    watched.next.reset();
  }
  letGo();
  return Progress::done;
}

void SearchPathWatches::forget(const std::string &searchPath) {
  const auto found = paths_.find(searchPath);
  if (found == paths_.end())
    return;
  retire(found->second.current);
  if (found->second.next)
    retire(found->second.next->dependencies);
  paths_.erase(found);
}

// begin() has made room.
void SearchPathWatches::retire(Dependencies &dependencies) noexcept {
  retired_.push_back(std::move(dependencies));
}

void SearchPathWatches::letGo() {
  const Deadline deadline = Deadline::in(kTimeForLettingGo);
  while (!retired_.empty() && unconfirmed_ < kMostUnconfirmed) {
    const auto watch = retired_.back().takeOne();
    if (!watch)
      retired_.pop_back();
    else if (!isNeeded(*watch) &&
             OperatingSystem::current().removeWatch(events_.number(), *watch) == 0)
      ++unconfirmed_;
    if (deadline.passed())
      return;
  }
}

bool SearchPathWatches::isNeeded(int watch) const {
  return std::ranges::any_of(paths_, [&](const auto &path) { return path.second.has(watch); });
}

std::vector<std::string> SearchPathWatches::takeChanged() {
  Changed changed(paths_);
  if (std::exchange(mayHaveLost_, true))
    changed.addAll();
  takeEvents(changed);
  takeMounts(changed);
  letGo();
  auto paths = changed.paths();
  mayHaveLost_ = false;
  return paths;
}

void SearchPathWatches::takeEvents(Changed &changed) {
  alignas(inotify_event) std::array<char, 65536> events;
  const ssize_t got =
      OperatingSystem::current().read(events_.number(), events.data(), events.size());
  if (got < 0 && errno != EAGAIN)
    changed.addAll();
  for (std::size_t at = 0; at < static_cast<std::size_t>(std::max<ssize_t>(got, 0));) {
    const auto *event = reinterpret_cast<const inotify_event *>(events.data() + at);
    const char *name = event->len > 0 ? events.data() + at + sizeof(inotify_event) : "";
    take({event->wd, event->mask, name}, changed);
    at += sizeof(inotify_event) + event->len;
  }
}

void SearchPathWatches::take(const WatchEvent &event, Changed &changed) {
  if ((event.what & IN_Q_OVERFLOW) != 0) {
    unconfirmed_ = 0;
    changed.addAll();
    return;
  }
  changed.add([&](const Watched &watched) { return watched.mayChangeBy(event); });
  if ((event.what & IN_IGNORED) == 0)
    return;
  unconfirmed_ -= std::min<std::size_t>(unconfirmed_, 1);
  for (auto &[path, watched] : paths_)
    watched.drop(event.watch);
}

void SearchPathWatches::takeMounts(Changed &changed) {
  const auto mountPoints = mounts_.takeChanged();
  if (!mountPoints)
    return changed.addAll();
  for (const std::string &mountPoint : *mountPoints)
    changed.add([&](const Watched &watched) { return watched.mayChangeByMount(mountPoint); });
}

std::size_t SearchPathWatches::watchCount() const {
  std::unordered_set<int> watches;
  const auto count = [&](const Dependencies &dependencies) {
    dependencies.forEach([&](int watch) { watches.insert(watch); });
  };
  std::ranges::for_each(retired_, count);
  for (const auto &[path, watched] : paths_) {
    count(watched.current);
    if (watched.next)
      count(watched.next->dependencies);
  }
  return watches.size();
}

} // namespace tesker
