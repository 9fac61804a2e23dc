// RecordTable.h - an answer as a person reads it.
//
// All records of one program become one row: its names, what it is, the file extensions that it
// claims and where it lies; rows that say the same of one file become one, too. Everything is shown
// as display text.
#pragma once

#include "command/Output.h"
#include "command/ResultWriter.h"
#include "master/SearchOutcome.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// Display texts in the order in which they came, each of them once and none empty.
class DisplayTexts {
public:
  void add(std::string_view bytes);
  void remove(const std::string &text) { std::erase(list_, text); }
  // Nothing happens when it is not among them.
  void moveToFront(const std::string &text);
  const std::vector<std::string> &list() const { return list_; }
  bool empty() const { return list_.empty(); }

private:
  std::vector<std::string> list_;
  std::set<std::string> known_;
};

// What all records of one path say together. A program without a name is called as its file; one
// that does more than claim extensions is not said to be an extension.
struct FoundProgram {
  DisplayTexts names; // of the application or bundle, or else of what it offers
  DisplayTexts types; // "app" first
  DisplayTexts extensions;
  bool suitable = true;
  std::string path; // bytes
};

// In the order in which the records first tell of them.
[[nodiscard]] std::vector<FoundProgram> programsOf(const RecordSource &records);

// Writes a line that says what was found and the table below it, sorted by names and then by path
// where the form names no other column.
void writeTable(Output &output, const SearchResult &result, const TableForm &form);

} // namespace tesker
