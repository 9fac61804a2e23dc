// SavedAnswerText.h - what is written in the file of a saved answer: what it is of, and whether it
// is whole. Internal to the catalog.
//
//   Tesker answer 1
//   processor 3 7/3
//   link-cycles 4 skip
//   search-path 13 /Applications
//   time 1700000000
//   length 123
//   checksum 0123456789abcdef
//   (the encoded text)
//
// A number before a value is how many bytes it has. Only what is written exactly so is read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// What an answer is of.
struct AnswerKey {
  std::string searchPath;
  std::string cpu = {}; // as FinderMasterOptions has it
  bool followLinkCycles = false;

  // The lines that say so, the first ones of the file. The processor is the one that a search with
  // this environment would be for.
  [[nodiscard]] std::string lines() const;
};

// A name for the file of an answer whose file begins so: the end of the search path, for a person
// who looks, and a hash of all. Others may have the same name, one time in some billions.
[[nodiscard]] std::string savedAnswerName(std::string_view searchPath, std::string_view lines);

// What stands before the text in a file that begins with these lines.
[[nodiscard]] std::string savedAnswerHeader(std::string_view lines, std::int64_t time,
                                            std::string_view text);

struct SavedAnswerText {
  std::int64_t time; // when the search was made, in seconds since 1970
  std::string_view text;
};

// What the file's bytes, in which the text lies, say; nothing when they do not begin with these
// lines, or are damaged.
[[nodiscard]] std::optional<SavedAnswerText> savedAnswerIn(std::string_view bytes,
                                                           std::string_view lines);

} // namespace tesker
