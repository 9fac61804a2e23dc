// AnswerReading.h - the tool's answer, read some of it at a time. Internal to the master.
#pragma once

#include "master/SearchOutcome.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/NSString.h"

namespace tesker {

class AnswerReading {
public:
  // The encoded records; not nil.
  explicit AnswerReading(NSString text) : text_(std::move(text)), encoded_(text_.bytes()) {}

  // How many records there are, as the text announces.
  std::size_t count() const { return encoded_.count(); }
  // Reads on until that time has passed. Whether there is nothing left to read.
  bool readUntil(const Deadline &pause);
  // Once everything has been read.
  bool isMalformed() const { return encoded_.isMalformed(); }
  SearchAnswer takeAnswer() { return std::move(answer_); }

private:
  NSString text_;
  EncodedRecords encoded_; // lent from text_
  SearchAnswer answer_;
};

} // namespace tesker
