// LogLines.h - the lines that come out of a pipe, kept within bounds. Internal to the master.
#pragma once

#include "platform/foundation/Files.h"

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// Cuts what a process writes into lines. Only the last lines are kept, and of a line only its
// beginning, so that a process that writes without end costs time but no memory.
class LogLines {
public:
  static constexpr std::size_t kMostLines = 100;
  static constexpr std::size_t kLongestLine = 4096;

  // Called with each line, without its line feed, as it comes; may be empty.
  using Listener = std::function<void(std::string_view line)>;

  // The pipe's reading end has to be non-blocking.
  LogLines(FileDescriptor pipe, Listener listener)
      : pipe_(std::move(pipe)), listener_(std::move(listener)) {}

  // For poll(2); -1 after the end of the pipe.
  int descriptor() const { return pipe_.number(); }
  // Takes what is in the pipe now, but no more than a pipe holds.
  void read();
  // Takes what is left, and a last line without a line feed.
  void finish();

  std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }
  std::size_t count() const { return count_; }
  // Whether the pipe could not be read to its end.
  bool isCutShort() const { return isCutShort_; }

private:
  void take(std::string_view bytes);
  void endLine();

  FileDescriptor pipe_;
  Listener listener_;
  std::string current_;
  bool inLine_ = false;
  std::deque<std::string> lines_;
  std::size_t count_ = 0;
  bool isCutShort_ = false;
};

} // namespace tesker
