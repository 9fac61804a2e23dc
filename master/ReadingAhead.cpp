#include "master/ReadingAhead.h"

#include "parsing/ReadAheadHints.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"
#include "protocol/FinderProtocol.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <new>
#include <sys/socket.h>
#include <utility>

namespace tesker {

ReadingAheadWish readingAheadWish(const FinderMasterOptions &options) {
  const std::string wish = environmentValue("TESKER_READ_AHEAD").value_or("");
  if (wish == "never")
    return {};
  if (wish != "always")
    return {options.readAhead};
  return {options.readAhead.empty() ? readAheadBeside(options.tool) : options.readAhead, true};
}

ReadingAhead::ReadingAhead(ReadingAheadWish wish, std::string_view argument,
                           FinderSearchRequest::Kind kind)
    : wish_(std::move(wish)), firstLook_(OperatingSystem::current().steadyTime()) {
  if (kind == FinderSearchRequest::Kind::dockPaths)
    for (const std::string_view path : piecesOf(argument, kDockPathSeparator))
      hints_ += searchPathHint(path);
  else if (argument.find(kHintEnd) == std::string_view::npos) // else it names nothing
    hints_ = searchPathHint(argument);
}

void ReadingAhead::step(const ToolProcess &tool, const std::optional<SearchProgress> &progress) {
  const bool isTimeToLook = nextLook_.passed();
  if (isTimeToLook)
    nextLook_ = Deadline::in(std::clamp<std::chrono::nanoseconds>(
        (OperatingSystem::current().steadyTime() - firstLook_) / 10, kShortestTimeBetweenLooks,
        kLongestTimeBetweenLooks));
  try {
    if (isTimeToLook && !process_ && !isOver_ && (wish_.atOnce || waitsOften(tool)))
      start();
    if (process_ && !isOver_)
      tell(progress);
  } catch (const std::bad_alloc &) {
    isOver_ = true;
  }
}

int ReadingAhead::pollTimeout() const {
  const bool hasNothingToDo = isOver_ || (process_ && hints_.empty());
  return hasNothingToDo ? std::numeric_limits<int>::max() : nextLook_.pollTimeout();
}

bool ReadingAhead::waitsOften(const ToolProcess &tool) {
  const auto now = OperatingSystem::current().steadyTime();
  const auto work = tool.work();
  if (!work || work->isReady)
    return false;
  const auto waited = now - lastLook_ - (work->busy - busyThen_.value_or(work->busy));
  const bool waits = busyThen_ && 4 * waited > now - lastLook_;
  waits_ = waits ? waits_ + 1 : 0;
  lastLook_ = now;
  busyThen_ = work->busy;
  return waits_ == kLooksInARow;
}

void ReadingAhead::start() {
  isOver_ = true; // unless all of this succeeds
  std::array<int, 2> ends{-1, -1};
  // Not a pipe: where the program has gone, a pipe's signal would be this process's end.
  if (OperatingSystem::current().createSocketPair(SOCK_STREAM, ends) != 0)
    return;
  toProgram_ = FileDescriptor(ends[0]);
  const FileDescriptor input = aboveStandardDescriptors(FileDescriptor(ends[1]));
  if (!input)
    return;
  auto started = ToolProcess::start(wish_.program, {}, input.number());
  if (!started)
    return;
  process_ = std::move(*started);
  process_->takeLogPipe().reset(); // it has nothing to say
  isOver_ = false;
}

void ReadingAhead::tell(const std::optional<SearchProgress> &progress) {
  for (;;) {
    if (hints_.empty() && progress && progress->entries != told_) {
      hints_ = progressHint(progress->entries, progress->directory);
      told_ = progress->entries;
    }
    if (hints_.empty())
      return;
    const ssize_t sent = OperatingSystem::current().send(
        toProgram_.number(), hints_.data(), hints_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent <= 0) { // it is full, or the program has gone
      isOver_ = sent == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
      return;
    }
    hints_.erase(0, static_cast<std::size_t>(sent));
  }
}

void ReadingAhead::beginToKill() {
  toProgram_.reset();
  isOver_ = true;
  if (process_)
    process_->beginToKill();
}

} // namespace tesker
