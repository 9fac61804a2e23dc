#include "master/AnswerReceiver.h"

namespace tesker {

Ref<AnswerReceiver> AnswerReceiver::create(std::string key, bool hasPrevious) {
  return allocate<AnswerReceiver>(NSDefaultMallocZone(), std::move(key), hasPrevious);
}

void AnswerReceiver::noteLines(const NSString *text, const NSString &key) {
  if (answered_)
    complaint_ = "the tool answered twice";
  else if (key.bytes() != key_)
    complaint_ = "the tool answered for something that was not asked";
  else if (text == nullptr && !hasPrevious_)
    complaint_ = "the tool calls an answer unchanged that it was never given";
  answered_ = true;
  if (text != nullptr)
    text_ = text->copy();
}

} // namespace tesker
