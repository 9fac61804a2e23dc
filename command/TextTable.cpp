#include "command/TextTable.h"

#include "command/DisplayText.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kNothing = "-";
// Where nothing is shortened: a cell that is longer stands out of its column, so that one does not
// push all others away.
constexpr std::size_t kWidestColumn = 100;

using Widths = std::vector<std::size_t>;

std::size_t totalOf(const Widths &widths) {
  std::size_t total = 0;
  for (const std::size_t width : widths)
    total += width + TextTable::kGap;
  return total == 0 ? 0 : total - TextTable::kGap;
}

// Takes from the widest of the chosen columns, of which each keeps the least width, until the total
// is reached or none can give more.
template <class Chosen>
void narrow(Widths &widths, std::size_t total, std::size_t least, Chosen chosen) {
  for (std::size_t now = totalOf(widths); now > total; --now) {
    std::size_t *widest = nullptr;
    for (std::size_t column = 0; column < widths.size(); ++column)
      if (widths[column] > least && chosen(column) &&
          (widest == nullptr || widths[column] > *widest))
        widest = &widths[column];
    if (widest == nullptr)
      return;
    --*widest;
  }
}

std::string rowText(const TextRow &row, const Widths &widths, const Terminal &terminal) {
  std::size_t height = 0;
  for (const TextCell &cell : row.cells)
    height = std::max(height, cell.size());
  std::string text;
  for (std::size_t y = 0; y < height; ++y) {
    std::string line;
    std::size_t pending = 0; // blanks owed before the next cell, so that no line ends in blanks
    for (std::size_t column = 0; column < row.cells.size(); ++column) {
      const TextCell &lines = row.cells[column];
      const std::string cell = y < lines.size() ? lines[y] : std::string();
      if (!cell.empty()) {
        line.append(pending, ' ');
        line += cell;
        pending = 0;
      }
      const std::size_t taken = displayColumns(cell);
      pending += std::max(widths[column], taken) - taken + TextTable::kGap;
    }
    text += styled(line, row.style, terminal) + '\n';
  }
  return text;
}

} // namespace

TextCell textCell(std::string text) {
  return {text.empty() ? std::string(kNothing) : std::move(text)};
}

TextCell listCell(const std::vector<std::string> &texts) {
  std::string list;
  for (const std::string &text : texts)
    list += (list.empty() ? "" : ", ") + text;
  return textCell(std::move(list));
}

void TextTable::sort(const std::string &name) {
  const auto found = std::find_if(columns_.begin(), columns_.end(), [&](const TextColumn &column) {
    return withoutCase(column.name) == name;
  });
  if (found == columns_.end())
    return;
  const auto column = static_cast<std::size_t>(found - columns_.begin());
  std::stable_sort(rows_.begin(), rows_.end(), [&](const TextRow &a, const TextRow &b) {
    return a.cells[column] < b.cells[column];
  });
}

void TextTable::leaveColumnsOut() {
  const auto saysNothing = [](const TextCell &cell) {
    return cell.size() == 1 && cell.front() == kNothing;
  };
  for (std::size_t column = columns_.size(); column-- > 0;) {
    if (columns_[column].always || !std::ranges::all_of(rows_, [&](const TextRow &row) {
          return saysNothing(row.cells[column]);
        }))
      continue;
    const auto place = static_cast<std::ptrdiff_t>(column);
    columns_.erase(columns_.begin() + place);
    for (TextRow &row : rows_)
      row.cells.erase(row.cells.begin() + place);
  }
}

void TextTable::addHeader() {
  TextRow header{.cells = {}, .style = Style::heading};
  for (const TextColumn &column : columns_)
    header.cells.push_back({column.name});
  rows_.insert(rows_.begin(), std::move(header));
}

TextTable::Widths TextTable::naturalWidths(std::size_t widest) const {
  Widths widths(columns_.size(), 1);
  for (const TextRow &row : rows_)
    for (std::size_t column = 0; column < widths.size(); ++column)
      for (const std::string &line : row.cells[column])
        widths[column] = std::max(widths[column], std::min(displayColumns(line), widest));
  return widths;
}

// Paths give way first, but not beyond a third of the line; then texts are broken; then paths give
// way again. In a terminal that is still too narrow nothing is spared.
TextTable::Widths TextTable::fittingWidths(std::size_t terminalColumns) const {
  Widths widths = naturalWidths(terminalColumns);
  const auto paths = [&](std::size_t column) { return isPath(column); };
  const auto texts = [&](std::size_t column) { return !isPath(column); };
  narrow(widths, terminalColumns, std::max(terminalColumns / 3, kNarrowPath), paths);
  narrow(widths, terminalColumns, kNarrowText, texts);
  narrow(widths, terminalColumns, kNarrowPath, paths);
  narrow(widths, terminalColumns, 1, [](std::size_t) { return true; });
  return widths;
}

void TextTable::breakTexts(const Widths &widths) {
  for (TextRow &row : rows_)
    for (std::size_t column = 0; column < widths.size(); ++column) {
      if (isPath(column))
        continue;
      TextCell lines;
      for (const std::string &line : row.cells[column])
        std::ranges::move(brokenText(line, widths[column]), std::back_inserter(lines));
      row.cells[column] = std::move(lines);
    }
}

void TextTable::shortenPaths(const Widths &widths) {
  for (TextRow &row : rows_)
    for (std::size_t column = 0; column < widths.size(); ++column)
      if (isPath(column))
        for (std::string &line : row.cells[column])
          line = shortenedPath(line, widths[column]);
}

// Broken texts may take less than they were given: paths have the rest.
void TextTable::fit(std::size_t terminalColumns) {
  breakTexts(fittingWidths(terminalColumns));
  Widths widths = naturalWidths(terminalColumns);
  narrow(widths, terminalColumns, 1, [&](std::size_t column) { return isPath(column); });
  shortenPaths(widths);
}

void TextTable::write(Output &output, const TableForm &form, const std::string &headline) {
  if (form.header && !headline.empty())
    output.write(headline + (rows_.empty() ? "\n" : "\n\n"));
  if (rows_.empty())
    return;
  sort(form.sortBy);
  leaveColumnsOut();
  if (form.header)
    addHeader();
  const Terminal &terminal = output.terminal();
  if (terminal.columns != 0)
    fit(terminal.columns);
  const Widths widths = naturalWidths(terminal.columns != 0 ? terminal.columns : kWidestColumn);
  for (const TextRow &row : rows_)
    output.write(rowText(row, widths, terminal));
}

} // namespace tesker
