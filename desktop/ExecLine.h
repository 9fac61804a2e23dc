// ExecLine.h - the command line of a desktop entry, taken apart into words.
//
// The words are handed on as they are; no shell looks at them again.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// A piece of a word: text, or what stands for a file or the entry itself.
struct ExecPiece {
  enum class Kind {
    text,
    file,      // %f and %u: one file
    files,     // %F and %U: all files
    icon,      // %i: "--icon" and the entry's icon
    name,      // %c: the entry's name in the person's language
    entryFile, // %k: the entry's own path
  };
  Kind kind;
  std::string text; // of Kind::text
};

struct ExecWord {
  std::vector<ExecPiece> pieces;
  // Whether it is such a code and nothing else.
  [[nodiscard]] bool is(ExecPiece::Kind kind) const;
  [[nodiscard]] bool has(ExecPiece::Kind kind) const;
};

struct ExecLine {
  std::vector<ExecWord> words; // at least one

  // The text of the first word.
  [[nodiscard]] std::string program() const;
  // Whether the program takes all files at once: a word is %F or %U.
  [[nodiscard]] bool takesAllFiles() const;
};

// The line, whose escapes are undone already. Words stand between blanks; within double quotes a
// backslash stands before ", `, $ and itself, elsewhere before any character, and single quotes
// take all as it is, as the desktops' own readers have it. Codes that are out of use or unknown
// stand for nothing. A line without a code for files gets %f at its end. Nothing when a quotation
// is not closed or the first word is not a plain text.
[[nodiscard]] std::optional<ExecLine> parseExec(std::string_view line);

} // namespace tesker
