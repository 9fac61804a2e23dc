#include "command/RecordTable.h"

#include "command/DisplayText.h"
#include "command/Programs.h"
#include "command/TextTable.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace tesker {

namespace {

constexpr std::size_t kNarrowestList = 16;
constexpr std::size_t kExtensionsColumn = 2;
constexpr std::size_t kNoteColumn = 3;

TextRow headerRow() { return {{"NAME"}, {"TYPE"}, {"EXTENSIONS"}, {"NOTE"}, {"PATH"}}; }

TextRow rowOf(const FoundProgram &program, std::size_t extensionsWidth) {
  return {listLines(program.names.list(), 0), listLines(program.types.list(), 0),
          listLines(program.extensions.list(), extensionsWidth),
          textCell(program.suitable ? "" : "not suitable"), textCell(program.path)};
}

ColumnWidths widthsOf(const std::vector<FoundProgram> &programs, std::size_t extensionsWidth) {
  ColumnWidths widths;
  widen(widths, headerRow());
  for (const FoundProgram &program : programs)
    widen(widths, rowOf(program, extensionsWidth));
  if (std::all_of(programs.begin(), programs.end(),
                  [](const FoundProgram &p) { return p.suitable; }))
    widths[kNoteColumn] = 0;
  return widths;
}

// The width to break lists of extensions at so that rows fit into the terminal; 0 when they fit as
// they are.
std::size_t extensionsWidthFor(const ColumnWidths &natural, std::size_t terminalColumns) {
  std::size_t total = 0;
  for (const std::size_t width : natural)
    total += width == 0 ? 0 : width + kColumnGap;
  total -= kColumnGap;
  if (terminalColumns == 0 || total <= terminalColumns)
    return 0;
  const std::size_t others = total - natural[kExtensionsColumn];
  return terminalColumns > others + kNarrowestList ? terminalColumns - others : kNarrowestList;
}

// What was searched, as a person is told it.
std::string placeOf(const std::string &request, const std::string &key) {
  if (request == "dock")
    return "the dock";
  return key.empty() ? "''" : displayText(key);
}

std::string headline(const std::vector<FoundProgram> &programs, const SearchResult &result) {
  const std::size_t count = programs.size();
  std::string text = count == 0 ? "no" : std::to_string(count);
  text += count == 1 ? " application found" : " applications found";
  if (result.key)
    text += " in " + placeOf(result.request, *result.key);
  const auto unsuitable =
      std::count_if(programs.begin(), programs.end(),
                    [](const FoundProgram &program) { return !program.suitable; });
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
  program.path = displayText(draft.path);
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

void writeTable(Output &output, const SearchResult &result, std::size_t terminalColumns) {
  if (result.text == nullptr) {
    output.write(placeOf(result.request, result.key.value_or("")) +
                 ": unchanged since the previous answer\n");
    return;
  }
  const std::vector<FoundProgram> programs = programsOf(result.records);
  output.write(headline(programs, result) + "\n");
  if (programs.empty())
    return;
  const std::size_t extensionsWidth = extensionsWidthFor(widthsOf(programs, 0), terminalColumns);
  const ColumnWidths widths = widthsOf(programs, extensionsWidth);
  output.write("\n" + rowText(headerRow(), widths));
  for (const FoundProgram &program : programs)
    output.write(rowText(rowOf(program, extensionsWidth), widths));
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
  std::stable_sort(programs.begin(), programs.end(),
                   [](const FoundProgram &a, const FoundProgram &b) {
                     if (a.names.list() != b.names.list())
                       return a.names.list() < b.names.list();
                     return a.path < b.path;
                   });
  return programs;
}

} // namespace tesker
