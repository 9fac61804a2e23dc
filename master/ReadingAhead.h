// ReadingAhead.h - the program that reads ahead of a tool: when it is started, what it is told, and
// its end. Internal to the master.
//
// A tool on a warm cache is at work all the time, and a second process that reads the same would
// only take the processor from it. So the tool is looked at every 5 ms, later less often, and the
// program is started when the tool has waited for more than a quarter of the time between two
// looks, and of the time to the next one. A tool that is ready and waits for a processor counts as
// one that works: on a busy machine there is nothing to be gained either. How long it has been
// ready the system tells only once it runs, so a look that finds it ready is left out.
//
// Whatever fails here is left at that: the answer does not depend on it.
#pragma once

#include "master/FinderSearch.h"
#include "master/ToolProcess.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// Which program is to read ahead, and when.
struct ReadingAheadWish {
  std::string program; // a path; empty: none
  bool atOnce = false; // whatever the tool does
};
// As the options say. TESKER_READ_AHEAD in the environment overrides them: `never`, or `always`,
// which is at once, with the program beside the tool where the options name none.
[[nodiscard]] ReadingAheadWish readingAheadWish(const FinderMasterOptions &options);

class ReadingAhead {
public:
  // A tenth of the time since the first look, but not less and not more.
  static constexpr std::chrono::milliseconds kShortestTimeBetweenLooks{5};
  static constexpr std::chrono::milliseconds kLongestTimeBetweenLooks{100};
  static constexpr int kLooksInARow = 2;

  // The wish names a program; the rest is what the tool is asked, as a FinderSearchRequest has it.
  ReadingAhead(ReadingAheadWish wish, std::string_view argument, FinderSearchRequest::Kind kind);

  // Looks at the tool, which has its request, when it is time for that, or tells the program how
  // far the tool has come.
  void step(const ToolProcess &tool, const std::optional<SearchProgress> &progress);
  // In how many milliseconds step() is to be called again, if not for the tool's progress.
  int pollTimeout() const;

  // Readable when a program that was started has ended: for poll(2). Negative where there is none.
  int endDescriptor() const { return process_ ? process_->endDescriptor() : -1; }
  void beginToKill();
  // Whether there is none, or no more.
  bool hasEnded() { return !process_ || process_->end(); }

private:
  bool waitsOften(const ToolProcess &tool);
  void start();
  void tell(const std::optional<SearchProgress> &progress);

  const ReadingAheadWish wish_;
  std::string hints_; // that are to be sent (parsing/ReadAheadHints.h)
  Deadline nextLook_ = Deadline::in({});
  const std::chrono::steady_clock::time_point firstLook_;
  // When the tool was last found waiting, and how long it had been busy then.
  std::chrono::steady_clock::time_point lastLook_;
  std::optional<std::chrono::nanoseconds> busyThen_;
  int waits_ = 0;       // looks in a row
  bool isOver_ = false; // nothing will be started or told any more
  FileDescriptor toProgram_;
  std::unique_ptr<ToolProcess> process_;
  std::uint64_t told_ = 0; // entries, last
};

} // namespace tesker
