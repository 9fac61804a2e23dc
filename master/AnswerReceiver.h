// AnswerReceiver.h - the client object of a master that asked for one answer.
// Internal to the master.
#pragma once

#include "protocol/FinderProtocol.h"

#include <string>

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

  bool answered() const { return answered_; }
  // The answer's text; nil when it is unchanged.
  const NSString &text() const { return text_; }
  // What was wrong about what the tool sent; empty when nothing was.
  const std::string &complaint() const { return complaint_; }

private:
  friend NSObject;
  AnswerReceiver(NSString key, bool hasPrevious)
      : key_(std::move(key)), hasPrevious_(hasPrevious) {}

  NSString key_;
  bool hasPrevious_;
  bool answered_ = false;
  NSString text_;
  std::string complaint_;
};

} // namespace tesker
