// DisplayText.h - text that is safe to show to a person.
//
// File names and the words of a program's description are whatever their authors made them: they
// may hold control characters that drive a terminal, marks that turn the reading direction round,
// or bytes that are not UTF-8. What a person sees has all of these written out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The bytes with everything that is not plainly visible written out: "\n" and "\t" so, other
// control characters and bytes that are not UTF-8 as "\x1b", invisible characters as "\u{202e}",
// and the backslash doubled, so that no two texts look the same.
std::string displayText(std::string_view bytes);

// "FILE:LINE:COLUMN", as compilers name a place; line and column count from 1, and are left out
// where they are 0.
std::string displayPlace(std::string_view file, std::size_t line, std::size_t column);

// "no programs", "1 program", "2 programs", of the words for one and for any other number.
std::string counted(std::size_t count, std::string_view one, std::string_view more);

// ---- such a text in a terminal ----
//
// Nothing is cut inside a character, between a character and the marks that combine with it, or
// inside what stands for a character that was written out.

// The columns that it takes.
std::size_t displayColumns(std::string_view text);

// The path, or what is left of it around "…" in its middle where it takes more than so many
// columns: the end is the longer part. Empty for no columns.
std::string shortenedPath(std::string_view path, std::size_t columns);

// The text in lines of at most so many columns (at least 1), broken at blanks; of a word that is
// longer, the beginning and "…". At least one line; only one where there is hardly any room.
std::vector<std::string> brokenText(std::string_view text, std::size_t columns);

} // namespace tesker
