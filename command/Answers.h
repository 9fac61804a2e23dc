// Answers.h - the answer that a question is about: of searches made now, or a saved one.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"
#include "master/SearchOutcome.h"

#include <optional>
#include <string>
#include <vector>

namespace tesker {

inline constexpr const char *kNotEncodedRecords = "not a list of encoded records";

struct Answer {
  // Of all searches, in the order of the search paths.
  std::vector<SearchRecord> records;
  // What went wrong, which has been said, is in the status; what there is can be used all the same.
  ExitStatus status = ExitStatus::done;
  bool isThere = false;    // at least one of the searches has given an answer
  bool incomplete = false; // there may be more
};

// The records that the arguments' answerFile holds, or those of a search of each of their paths.
[[nodiscard]] Answer answerFor(const Arguments &arguments, Diagnostics &diagnostics);

// The records that a file holds, which is waited for until the deadline.
[[nodiscard]] Answer answerIn(const std::string &file, const Deadline &deadline,
                              Diagnostics &diagnostics);

} // namespace tesker
