// AnswerReceiver.h - what the tool calls with its answer. Internal to the master.
#pragma once

#include "master/SearchOutcome.h"
#include "protocol/FinderProtocol.h"

#include <optional>
#include <string>
#include <utility>

namespace tesker {

// Takes the tool's one answer and notes what it must not send.
class AnswerReceiver final : public FinderClient {
public:
  // The key that the answer has to bring, and whether nil may be an answer.
  [[nodiscard]] static Ref<AnswerReceiver> create(NSString key, bool hasPrevious) {
    return allocate<AnswerReceiver>(NSDefaultMallocZone(), std::move(key), hasPrevious);
  }

  void noteLines(const NSString &text, const NSString &key) override;
  void self() override {}
  void noteProgress(const FinderProgress &progress) override;
  void noteStopped() override { stopped_ = true; }

  bool answered() const { return answered_; }
  // The answer's text; nil when it is unchanged.
  const NSString &text() const { return text_; }
  // Whether the answer is only what the tool had found when it was told to stop.
  bool isPart() const { return stopped_; }
  // What was wrong about what the tool sent; empty when nothing was.
  const std::string &complaint() const { return complaint_; }
  // What the tool has told last before its answer; nothing where it has not.
  const std::optional<SearchProgress> &progress() const { return progress_; }

private:
  friend NSObject;
  AnswerReceiver(NSString key, bool hasPrevious)
      : key_(std::move(key)), hasPrevious_(hasPrevious) {}

  NSString key_;
  bool hasPrevious_;
  bool stopped_ = false;
  bool answered_ = false;
  NSString text_;
  std::string complaint_;
  std::optional<SearchProgress> progress_;
};

} // namespace tesker
