// TextTable.h - rows of text in columns, for people.
//
// All texts are display texts. A cell is one or more lines; columns have two blanks between them,
// and no line ends in blanks.
#pragma once

#include "command/Output.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tesker {

using TextCell = std::vector<std::string>; // its lines; never empty
using TextRow = std::vector<TextCell>;

// Between columns.
inline constexpr std::size_t kColumnGap = 2;

// A cell of one line; a dash for an empty text.
[[nodiscard]] TextCell textCell(std::string text);

// The texts with commas between them, in lines of at most width columns where a text allows it; on
// one line when width is 0. A dash when there is none.
[[nodiscard]] TextCell listLines(const std::vector<std::string> &texts, std::size_t width = 0);

// A width of 0 leaves the column out.
using ColumnWidths = std::vector<std::size_t>;

// Makes each column wide enough for the row's cell, as far as columns go: a cell that is longer
// still stands out of its column, so that one does not push all others away.
void widen(ColumnWidths &widths, const TextRow &row);

// The row's lines, each with a line feed.
[[nodiscard]] std::string rowText(const TextRow &row, const ColumnWidths &widths);

// Writes the rows, of which the first is the header, in columns as wide as they need. A column in
// which only the header says something is left out.
void writeRows(Output &output, const std::vector<TextRow> &rows);

} // namespace tesker
