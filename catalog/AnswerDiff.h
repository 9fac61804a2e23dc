// AnswerDiff.h - what has changed from one answer to another.
//
// Two records tell of the same thing when they have the same path, type and name; the order of
// pairs means nothing.
#pragma once

#include "master/SearchOutcome.h"

#include <span>
#include <string>
#include <vector>

namespace tesker {

// Of one thing; the records are borrowed. Added: there is none before; removed: none after.
struct RecordChange {
  const SearchRecord *before;
  const SearchRecord *after;
};

// Changes and removals in the order of the old answer, then what was added in the order of the new
// one. Equal records that an answer brings several times are counted: one more is one added.
[[nodiscard]] std::vector<RecordChange> differences(std::span<const SearchRecord> before,
                                                    std::span<const SearchRecord> after);

// A pair that is not the same in both records of a change, a missing value on one side.
struct PairChange {
  std::string key;
  const std::string *before;
  const std::string *after;
};

// In the order of the keys' bytes.
[[nodiscard]] std::vector<PairChange> pairChanges(const RecordChange &change);

} // namespace tesker
