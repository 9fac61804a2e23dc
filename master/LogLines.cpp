#include "master/LogLines.h"

#include <array>
#include <cerrno>

namespace tesker {

namespace {

// As much as Linux lets a pipe hold when nobody asks for more.
constexpr std::size_t kPipeSize = std::size_t{64} * 1024;

} // namespace

void LogLines::read() {
  std::array<char, 4096> piece;
  for (std::size_t taken = 0; pipe_ && taken < kPipeSize;) {
    const ssize_t count =
        OperatingSystem::current().read(pipe_.number(), piece.data(), piece.size());
    if (count < 0 && errno == EAGAIN)
      return;
    if (count <= 0) {
      isCutShort_ = count < 0;
      pipe_.reset();
      return;
    }
    taken += static_cast<std::size_t>(count);
    take({piece.data(), static_cast<std::size_t>(count)});
  }
}

void LogLines::finish() {
  read();
  pipe_.reset();
  if (inLine_)
    endLine();
}

void LogLines::take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view text = bytes.substr(0, end);
    current_ += text.substr(0, kLongestLine - current_.size());
    inLine_ = true;
    if (end == std::string_view::npos)
      return;
    endLine();
    bytes.remove_prefix(end + 1);
  }
}

void LogLines::endLine() {
  inLine_ = false;
  ++count_;
  if (listener_)
    listener_(current_);
  if (lines_.size() == kMostLines)
    lines_.pop_front();
  lines_.push_back(std::move(current_));
  current_.clear();
}

} // namespace tesker
