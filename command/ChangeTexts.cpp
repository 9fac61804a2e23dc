#include "command/ChangeTexts.h"

#include "catalog/Programs.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/RecordJSON.h"

#include <algorithm>

namespace tesker {

namespace {

const char *kindOf(const RecordChange &change) {
  return change.before == nullptr ? "added" : change.after == nullptr ? "removed" : "changed";
}

std::string headline(const std::vector<RecordChange> &changes) {
  std::string text;
  for (const std::string kind : {"added", "removed", "changed"}) {
    const auto count = std::count_if(changes.begin(), changes.end(),
                                     [&](const RecordChange &c) { return kindOf(c) == kind; });
    if (count != 0)
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + kind;
  }
  return text.empty() ? "nothing has changed" : text;
}

// "icon: page -> sheet", a line for each pair.
TextCell detailsOf(const RecordChange &change) {
  if (change.before == nullptr || change.after == nullptr)
    return textCell("");
  const auto shown = [](const std::string *value) {
    return value == nullptr ? "(none)" : displayText(*value);
  };
  TextCell lines;
  for (const PairChange &pair : pairChanges(change))
    lines.push_back(displayText(pair.key) + ": " + shown(pair.before) + " -> " + shown(pair.after));
  return lines;
}

} // namespace

void writeChanges(Output &output, const TableForm &form, const std::vector<RecordChange> &changes) {
  TextTable table(kChangeColumns);
  for (const RecordChange &change : changes) {
    const SearchRecord &record = change.after != nullptr ? *change.after : *change.before;
    table.add({{textCell(kindOf(change)), textCell(displayText(valueOf(record, "type"))),
                textCell(displayText(valueOf(record, "name"))), detailsOf(change),
                textCell(displayText(valueOf(record, "path")))}});
  }
  table.write(output, form, headline(changes));
}

std::string changeAsJSON(const RecordChange &change) {
  JSONObject object;
  object.addText("kind", kindOf(change));
  if (change.before != nullptr && change.after != nullptr)
    object.addValue("before", recordAsJSON(*change.before))
        .addValue("after", recordAsJSON(*change.after));
  else
    object.addValue("record",
                    recordAsJSON(change.after != nullptr ? *change.after : *change.before));
  return object.text();
}

} // namespace tesker
