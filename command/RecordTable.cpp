#include "command/RecordTable.h"

#include "catalog/Programs.h"
#include "command/DisplayText.h"
#include "command/SameFiles.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <tuple>

namespace tesker {

namespace {

PathRow programRow(const FoundProgram &program) {
  return {.row = {.cells = {listCell(program.names.list()), listCell(program.types.list()),
                            listCell(program.extensions.list()),
                            textCell(program.suitable ? "" : "not suitable")},
                  .style = program.suitable ? Style::plain : Style::dubious},
          .path = program.path};
}

// What was searched, as a person is told it.
std::string searchedPlace(const std::string &request, const std::string &key) {
  if (request == "dock")
    return "the dock";
  return key.empty() ? "''" : displayText(key);
}

std::string headline(const std::vector<TextRow> &rows, const SearchResult &result) {
  std::string text = counted(rows.size(), "application found", "applications found");
  if (result.key)
    text += " in " + searchedPlace(result.request, *result.key);
  const auto unsuitable = std::ranges::count(rows, Style::dubious, &TextRow::style);
  if (unsuitable != 0)
    text += ", " + std::to_string(unsuitable) + " not suitable for the processor";
  return text;
}

// A program while records are still added to it.
struct Draft {
  explicit Draft(std::string_view itsPath) : path(itsPath) {}
  std::string_view path;
  DisplayTexts otherNames; // of what it offers beside applications, bundles and extensions
  FoundProgram program = {};
};

DisplayTexts &namesFor(Draft &draft, std::string_view type) {
  if (type == "extension")
    return draft.program.extensions;
  return type == "app" || type == "bundle" ? draft.program.names : draft.otherNames;
}

void addRecord(Draft &draft, const SearchRecord &record) {
  const std::string_view type = valueOf(record, "type");
  namesFor(draft, type).add(valueOf(record, "name"));
  draft.program.types.add(type);
  if (valueOf(record, "suitable") == "no")
    draft.program.suitable = false;
}

FoundProgram finished(Draft draft) {
  FoundProgram &program = draft.program;
  program.path = draft.path;
  if (program.names.empty())
    program.names = std::move(draft.otherNames);
  if (program.names.empty())
    program.names.add(draft.path.substr(draft.path.rfind('/') + 1));
  if (program.types.list().size() > 1)
    program.types.remove("extension");
  program.types.moveToFront("app");
  return std::move(program);
}

} // namespace

void writeTable(Output &output, const SearchResult &result, const TableForm &form) {
  if (result.text == nullptr) {
    output.write(searchedPlace(result.request, result.key.value_or("")) +
                 ": unchanged since the previous answer\n");
    return;
  }
  std::vector<FoundProgram> programs = programsOf(result.records);
  if (form.sortBy.empty())
    std::ranges::stable_sort(programs, {}, [](const FoundProgram &program) {
      return std::tie(program.names.list(), program.path);
    });
  std::vector<PathRow> pathRows;
  pathRows.reserve(programs.size());
  std::ranges::transform(programs, std::back_inserter(pathRows), programRow);
  // What was decoded may be of another machine.
  const bool isMerged = output.terminal().columns != 0 && result.request != "decode";
  std::vector<TextRow> rows =
      rowsWithPaths(std::move(pathRows), isMerged ? SamePaths::merge : SamePaths::keep);
  const std::string text = headline(rows, result);
  TextTable table(kProgramColumns);
  for (TextRow &row : rows)
    table.add(std::move(row));
  table.write(output, form, text);
}

void DisplayTexts::add(std::string_view bytes) {
  const std::string text = displayText(bytes);
  if (!text.empty() && known_.insert(text).second)
    list_.push_back(text);
}

void DisplayTexts::moveToFront(const std::string &text) {
  const auto found = std::find(list_.begin(), list_.end(), text);
  if (found != list_.end())
    std::rotate(list_.begin(), found, found + 1);
}

std::vector<FoundProgram> programsOf(const RecordSource &records) {
  std::vector<Draft> drafts;
  std::map<std::string, std::size_t, std::less<>> places;
  forEachRecord(records, [&](const SearchRecord &record) {
    const std::string_view path = valueOf(record, "path");
    const auto [place, isNew] = places.emplace(path, drafts.size());
    if (isNew)
      drafts.emplace_back(place->first);
    addRecord(drafts[place->second], record);
  });
  std::vector<FoundProgram> programs;
  programs.reserve(drafts.size());
  for (Draft &draft : drafts)
    programs.push_back(finished(std::move(draft)));
  return programs;
}

} // namespace tesker
