// ChangeTexts.h - what has changed between two answers, for people and for programs.
#pragma once

#include "catalog/AnswerDiff.h"
#include "command/Output.h"
#include "command/TextTable.h"

#include <string>
#include <vector>

namespace tesker {

// A table of kChangeColumns, below how many there are of each kind.
void writeChanges(Output &output, const TableForm &form, const std::vector<RecordChange> &changes);

// An object, as docs/json.md has it.
[[nodiscard]] std::string changeAsJSON(const RecordChange &change);

} // namespace tesker
