// TextTable.h - rows of text in columns, for people.
//
// All texts are display texts. A cell is one or more lines; columns have two blanks between them,
// and no line ends in blanks. Where output goes to a terminal the table fits its width: texts are
// broken at blanks, and paths lose their middle. Elsewhere nothing is broken or shortened.
#pragma once

#include "command/Output.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tesker {

using TextCell = std::vector<std::string>; // its lines; never empty

// A cell of one line; a dash for an empty text.
[[nodiscard]] TextCell textCell(std::string text);
// The texts with commas between them, on one line. A dash when there is none.
[[nodiscard]] TextCell listCell(const std::vector<std::string> &texts);

struct TextColumn {
  enum class Kind { text, path };
  const char *name; // in capital letters
  Kind kind = Kind::text;
  bool always = false; // also where only the header says something
};

struct TextRow {
  std::vector<TextCell> cells;
  Style style = Style::plain;
};

// How the person wants tables to be.
struct TableForm {
  bool header = true; // whether anything but rows is written
  std::string sortBy; // a column's name in small letters; empty: the rows stay in their order
};

// ---- the tables that there are ----

inline constexpr TextColumn kPathColumn{"PATH", TextColumn::Kind::path};
// Of programs in general: list, dock, decode.
inline constexpr std::array<TextColumn, 5> kProgramColumns{
    {{"NAME", TextColumn::Kind::text, true},
     {"TYPE", TextColumn::Kind::text, true},
     {"EXTENSIONS", TextColumn::Kind::text, true},
     {"NOTE"},
     {"PATH", TextColumn::Kind::path, true}}};
inline constexpr std::array<TextColumn, 3> kHandlerColumns{{{"NAME"}, {"NOTE"}, kPathColumn}};
inline constexpr std::array<TextColumn, 2> kTypeColumns{{{"EXTENSION"}, {"APPLICATIONS"}}};
inline constexpr std::array<TextColumn, 3> kServiceColumns{{{"NAME"}, {"NOTE"}, kPathColumn}};
inline constexpr std::array<TextColumn, 3> kRecordColumns{{{"TYPE"}, {"NAME"}, {"OTHER"}}};
inline constexpr std::array<TextColumn, 2> kPreferenceColumns{
    {{"EXTENSION"}, {"APPLICATION", TextColumn::Kind::path}}};
inline constexpr std::array<TextColumn, 5> kChangeColumns{
    {{"CHANGE"}, {"TYPE"}, {"NAME"}, {"DETAILS"}, kPathColumn}};

// How many entries a search has judged in which way.
inline constexpr std::array<TextColumn, 3> kCountColumns{{{"COUNT"}, {"CODE"}, {"MEANING"}}};

class TextTable {
public:
  // Between columns.
  static constexpr std::size_t kGap = 2;
  // So wide columns of the one kind stay as long as those of the other can give way.
  static constexpr std::size_t kNarrowText = 16, kNarrowPath = 12;

  explicit TextTable(std::span<const TextColumn> columns)
      : columns_(columns.begin(), columns.end()) {}

  // With a cell for each column.
  void add(TextRow row) { rows_.push_back(std::move(row)); }

  // Writes the headline, if there is one, and the rows. Once: it changes what is written.
  void write(Output &output, const TableForm &form, const std::string &headline = {});

private:
  using Widths = std::vector<std::size_t>;

  bool isPath(std::size_t column) const { return columns_[column].kind == TextColumn::Kind::path; }
  void sort(const std::string &name);
  // The columns in which only the header would say something.
  void leaveColumnsOut();
  void addHeader();
  // As wide as their longest cells, as far as `widest`.
  Widths naturalWidths(std::size_t widest) const;
  Widths fittingWidths(std::size_t terminalColumns) const;
  void fit(std::size_t terminalColumns);
  void breakTexts(const Widths &widths);
  void shortenPaths(const Widths &widths);

  std::vector<TextColumn> columns_;
  std::vector<TextRow> rows_;
};

} // namespace tesker
