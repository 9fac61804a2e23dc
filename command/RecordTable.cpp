#include "command/RecordTable.h"

#include "command/DisplayText.h"
#include "command/FoundPrograms.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kNothing = "-";
constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowestList = 16;
// A longer cell stands out of its column, so that one does not push all others away.
constexpr std::size_t kWidestColumn = 100;

using Lines = std::vector<std::string>;

// The texts with commas between them, in lines of at most width columns where a text allows it; on
// one line when width is 0. A dash when there is none.
Lines listLines(const std::vector<std::string> &texts, std::size_t width) {
  Lines lines(1);
  std::size_t columns = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = i + 1 < texts.size() ? texts[i] + "," : texts[i];
    const std::size_t textColumns = displayColumns(text);
    if (width != 0 && columns != 0 && columns + 1 + textColumns > width) {
      lines.emplace_back();
      columns = 0;
    }
    if (columns != 0) {
      lines.back() += ' ';
      ++columns;
    }
    lines.back() += text;
    columns += textColumns;
  }
  if (columns == 0)
    lines.back() = kNothing;
  return lines;
}

constexpr std::size_t kColumnCount = 5;
constexpr std::size_t kExtensionsColumn = 2;
constexpr std::size_t kNoteColumn = 3;
using Row = std::array<Lines, kColumnCount>;

Row headerRow() { return {{{"NAME"}, {"TYPE"}, {"EXTENSIONS"}, {"NOTE"}, {"PATH"}}}; }

Row rowOf(const FoundProgram &program, std::size_t extensionsWidth) {
  return {listLines(program.names.list(), 0), listLines(program.types.list(), 0),
          listLines(program.extensions.list(), extensionsWidth),
          Lines{program.suitable ? std::string(kNothing) : "not suitable"},
          Lines{program.path.empty() ? std::string(kNothing) : program.path}};
}

// A width of 0 leaves the column out.
using Widths = std::array<std::size_t, kColumnCount>;

void widen(Widths &widths, const Row &row) {
  for (std::size_t column = 0; column < kColumnCount; ++column)
    for (const std::string &line : row[column])
      widths[column] = std::max(widths[column], std::min(displayColumns(line), kWidestColumn));
}

std::string rowText(const Row &row, const Widths &widths) {
  std::size_t height = 0;
  for (const Lines &cell : row)
    height = std::max(height, cell.size());
  std::string text;
  for (std::size_t y = 0; y < height; ++y) {
    std::string line;
    std::size_t pending = 0; // blanks owed before the next cell, so that no line ends in blanks
    for (std::size_t column = 0; column < kColumnCount; ++column) {
      if (widths[column] == 0)
        continue;
      const std::string cell = y < row[column].size() ? row[column][y] : std::string();
      if (!cell.empty()) {
        line.append(pending, ' ');
        line += cell;
        pending = 0;
      }
      pending += std::max(widths[column], displayColumns(cell)) - displayColumns(cell) + kGap;
    }
    text += line + '\n';
  }
  return text;
}

Widths widthsOf(const std::vector<FoundProgram> &programs, std::size_t extensionsWidth) {
  Widths widths{};
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
std::size_t extensionsWidthFor(const Widths &natural, std::size_t terminalColumns) {
  std::size_t total = 0;
  for (const std::size_t width : natural)
    total += width == 0 ? 0 : width + kGap;
  total -= kGap;
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

} // namespace

void writeTable(Output &output, const SearchResult &result, std::size_t terminalColumns) {
  if (result.answer == nullptr) {
    output.write(placeOf(result.request, result.key.value_or("")) +
                 ": unchanged since the previous answer\n");
    return;
  }
  const std::vector<FoundProgram> programs = programsOf(result.answer->records);
  output.write(headline(programs, result) + "\n");
  if (programs.empty())
    return;
  const std::size_t extensionsWidth = extensionsWidthFor(widthsOf(programs, 0), terminalColumns);
  const Widths widths = widthsOf(programs, extensionsWidth);
  output.write("\n" + rowText(headerRow(), widths));
  for (const FoundProgram &program : programs)
    output.write(rowText(rowOf(program, extensionsWidth), widths));
}

} // namespace tesker
