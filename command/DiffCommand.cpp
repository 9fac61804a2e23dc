// DiffCommand.cpp - diff: what has changed from one answer to another.
#include "catalog/AnswerDiff.h"
#include "command/Answers.h"
#include "command/ChangeTexts.h"
#include "command/Commands.h"
#include "command/JSONItems.h"

#include <algorithm>

namespace tesker {

ExitStatus diffCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Answer before = answerIn(arguments.input, Deadline::in(arguments.timeout), diagnostics);
  if (!before.isThere)
    return before.status;
  const Answer after = answerFor(arguments, diagnostics);
  if (!after.isThere)
    return after.status;
  const std::vector<RecordChange> changes = differences(before.records, after.records);
  if (arguments.format == Format::table) {
    writeChanges(output, arguments.table, changes);
  } else {
    std::vector<std::string> objects;
    objects.reserve(changes.size());
    for (const RecordChange &change : changes)
      objects.push_back(changeAsJSON(change));
    writeItems(output, arguments.format,
               {"diff", std::nullopt, after.incomplete, "changes", "change", std::move(objects)},
               diagnostics.problems());
  }
  return arguments.exitCode && !changes.empty() ? std::max(after.status, ExitStatus::no)
                                                : after.status;
}

} // namespace tesker
