#include "master/AnswerReceiver.h"

namespace tesker {

void AnswerReceiver::noteLines(const NSString &text, const NSString &key) {
  if (answered_)
    complaint_ = "the tool answered twice";
  else if (key != key_)
    complaint_ = "the tool answered for something that was not asked";
  else if (!text && !hasPrevious_)
    complaint_ = "the tool calls an answer unchanged that it was never given";
  else if (!text && stopped_)
    complaint_ = "the tool calls a part of an answer unchanged";
  answered_ = true;
  if (text)
    text_ = text;
}

void AnswerReceiver::noteProgress(const FinderProgress &progress) {
  if (!answered_)
    progress_ =
        SearchProgress{progress.directories, progress.entries, progress.records,
                       std::string(progress.path.bytes()), std::string(progress.directory.bytes())};
}

} // namespace tesker
