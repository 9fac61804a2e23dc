// Search.h - one search, from the tool's start to its end. Internal to the master.
#pragma once

#include "master/AnswerReading.h"
#include "master/AnswerReceiver.h"
#include "master/FinderSearch.h"
#include "master/LogLines.h"
#include "master/PrivateDirectory.h"
#include "master/ReadingAhead.h"
#include "master/ToolProcess.h"
#include "platform/foundation/Deadline.h"
#include "protocol/HandOver.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// What becomes of a search that memory is lacking for.
[[nodiscard]] SearchFailure outOfMemory(SearchStage stage);

// Goes from begin() by steps to its end, and never waits.
class Search {
public:
  Search(FinderMasterOptions options, const FinderSearchRequest &request);

  // Starts the tool; or what ends the search before that. Once, and first.
  std::optional<SearchFailure> begin();
  // What step() has to be called for.
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const;
  // In how many milliseconds step() has to be called anyway; 0 when there is more to do now.
  int pollTimeout() const;
  // Does some of what there is to do. Whether the search has ended, and nothing of it is left but
  // its outcome.
  bool step();
  void cancel() { cancelled_ = true; }
  // Has the tool answer with what it has, or gives the search up.
  void stop();
  // The system refuses to wait for what there is to wait for.
  void fail(int error);
  // Once, at the end.
  SearchOutcome takeOutcome() { return std::move(outcome_); }

private:
  using Kind = SearchFailure::Kind;

  // What a step on the way finds; nothing while it has to be gone on.
  using Found = std::optional<SearchOutcome::Result>;

  std::optional<SearchFailure> startTool();
  void takeLogLine(std::string_view line);
  Found serve();
  std::optional<SearchFailure> stepStart();
  std::optional<SearchFailure> stepHandOver();
  void sendRequest();
  void stepConnection();
  bool hasProgress() const { return options_.onProgress && receiver_->progress(); }
  void tellProgress();
  // While the tool searches.
  bool mayReadAhead() const {
    return readingAhead_ && stage() == SearchStage::search && !connectionLost_;
  }
  std::optional<SearchFailure> whatEndsTheWaiting();
  void connectionHasEnded();
  Found judge(const ToolEnd &end);
  Found readAnswer();
  void setResult(SearchOutcome::Result result);
  bool stepEnd();
  void takeRestOfLog();
  SearchFailure timedOut() const {
    return failure(Kind::timedOut, "timed out " + describe(stage()));
  }
  SearchFailure givenUp() const { return failure(Kind::cancelled, "the search was given up"); }
  bool canBeStopped() const {
    return options_.takesPartialAnswers && !cut_ && !connectionLost_ &&
           stage() == SearchStage::search;
  }
  void stopTool(SearchFailure cut);

  // Nil before the hand-over.
  NSConnection *connection() const;
  SearchStage stage() const;
  SearchFailure failure(Kind kind, std::string reason,
                        std::optional<ToolEnd> end = std::nullopt) const {
    return {kind, stage(), end, std::move(reason)};
  }

  const FinderMasterOptions options_;
  const ReadingAheadWish readingAheadWish_;
  const FinderSearchRequest::Kind kind_;
  const NSString argument_;
  const NSString previous_;
  Deadline deadline_;    // the caller's, and a little more once the tool was told to stop
  Deadline waitingEnds_; // that, or soon after the connection was lost
  const Ref<AnswerReceiver> receiver_;

  // In the order in which they are made; the tool is ended before its service goes.
  std::optional<PrivateDirectory> directory_;
  std::optional<MasterHandOver> handOver_;
  std::unique_ptr<LogLines> log_; // none once its rest has been taken
  std::unique_ptr<ToolProcess> tool_;
  std::optional<ReadingAhead> readingAhead_; // once the tool is asked, where it is wanted
  bool incomplete_ = false;                  // a line of the log has said so
  std::size_t skippedLinks_ = 0;
  Deadline nextTold_; // when the caller is told of the tool's progress again
  std::optional<std::string> confinement_;
  bool connectionLost_ = false;
  bool cancelled_ = false;
  std::optional<SearchFailure> cut_;     // why the tool was told to stop
  bool moreToDispatch_ = false;          // what has come is not all taken yet
  std::optional<AnswerReading> reading_; // once the answer is here and the tool has ended
  bool hasResult_ = false;               // outcome_ has; what is left is to clear away
  bool isEnding_ = false;                // that has begun
  SearchOutcome outcome_{SearchUnchanged{}, false, {}, 0};
};

} // namespace tesker
