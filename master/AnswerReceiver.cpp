#include "master/AnswerReceiver.h"

namespace tesker {

void AnswerReceiver::noteLines(const NSString &text, const NSString &key) {
  if (answered_)
    complaint_ = "the tool answered twice";
  else if (key != key_)
    complaint_ = "the tool answered for something that was not asked";
  else if (!text && !hasPrevious_)
    complaint_ = "the tool calls an answer unchanged that it was never given";
  answered_ = true;
  if (text)
    text_ = text;
}

} // namespace tesker
