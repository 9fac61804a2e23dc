// Programs.h - the programs that an answer tells of, and which of them a person means.
//
// The records are borrowed; what is here points to them.
#pragma once

#include "master/SearchOutcome.h"

#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// All records of one path. Names and paths are bytes.
struct Program {
  std::string path;
  // Of the application or bundle; else of the application that an extension belongs to; else of the
  // file.
  std::string name;
  bool suitable = true;                      // no record says that it is not
  std::vector<const SearchRecord *> records; // in the order of the answer

  [[nodiscard]] bool hasRecordOf(std::string_view type) const;
  // What it is, each type once, in the order of the records.
  [[nodiscard]] std::vector<std::string> types() const;
};

// The value for the key; empty when there is none.
[[nodiscard]] std::string_view valueOf(const SearchRecord &record, std::string_view key);

// In the order in which the records first tell of them. Records without a path are passed over.
[[nodiscard]] std::vector<Program> programsIn(const std::vector<SearchRecord> &records);

// Equal but for the case of the letters A to Z.
[[nodiscard]] bool equalButForCase(std::string_view a, std::string_view b);

// Whether the text is to be taken for a path: it holds a "/".
[[nodiscard]] inline bool isPath(std::string_view text) {
  return text.find('/') != std::string_view::npos;
}

// What the program is called, paths left out: by its name, its file's and its wrapper's (Edit.app).
[[nodiscard]] std::vector<std::string_view> namesOf(const Program &program);

// Whether the program is called so: by its name, its file's or its wrapper's (Edit.app); or by its
// path or its wrapper's, which has to be absolute.
[[nodiscard]] bool isCalled(const Program &program, std::string_view nameOrPath);

// Those called so, in their order; where there are none and it is a name, those called so but for
// the case of letters.
[[nodiscard]] std::vector<const Program *> programsCalled(const std::vector<Program> &programs,
                                                          std::string_view nameOrPath);

// The one of several with one name that opens files: the first that is suitable, or else the first.
// Code that others load cannot be started. Nil when there is none.
[[nodiscard]] const Program *programToStart(std::vector<const Program *> called);

} // namespace tesker
