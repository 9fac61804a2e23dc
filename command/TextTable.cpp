#include "command/TextTable.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kNothing = "-";
constexpr std::size_t kWidestColumn = 100;

bool saysSomething(const std::vector<TextRow> &rows, std::size_t column) {
  return std::any_of(rows.begin() + 1, rows.end(), [&](const TextRow &row) {
    return row[column].size() > 1 || row[column].front() != kNothing;
  });
}

} // namespace

TextCell textCell(std::string text) {
  return {text.empty() ? std::string(kNothing) : std::move(text)};
}

TextCell listLines(const std::vector<std::string> &texts, std::size_t width) {
  TextCell lines(1);
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
  return columns == 0 ? textCell("") : lines;
}

void widen(ColumnWidths &widths, const TextRow &row) {
  widths.resize(std::max(widths.size(), row.size()));
  for (std::size_t column = 0; column < row.size(); ++column)
    for (const std::string &line : row[column])
      widths[column] = std::max(widths[column], std::min(displayColumns(line), kWidestColumn));
}

std::string rowText(const TextRow &row, const ColumnWidths &widths) {
  std::size_t height = 0;
  for (const TextCell &cell : row)
    height = std::max(height, cell.size());
  std::string text;
  for (std::size_t y = 0; y < height; ++y) {
    std::string line;
    std::size_t pending = 0; // blanks owed before the next cell, so that no line ends in blanks
    for (std::size_t column = 0; column < row.size(); ++column) {
      if (widths[column] == 0)
        continue;
      const std::string cell = y < row[column].size() ? row[column][y] : std::string();
      if (!cell.empty()) {
        line.append(pending, ' ');
        line += cell;
        pending = 0;
      }
      pending += std::max(widths[column], displayColumns(cell)) - displayColumns(cell) + kColumnGap;
    }
    text += line + '\n';
  }
  return text;
}

void writeRows(Output &output, const std::vector<TextRow> &rows) {
  ColumnWidths widths;
  for (const TextRow &row : rows)
    widen(widths, row);
  for (std::size_t column = 0; column < widths.size(); ++column)
    if (!saysSomething(rows, column))
      widths[column] = 0;
  for (const TextRow &row : rows)
    output.write(rowText(row, widths));
}

} // namespace tesker
