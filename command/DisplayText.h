// DisplayText.h - text that is safe to show to a person.
//
// File names and the words of a program's description are whatever their authors made them: they
// may hold control characters that drive a terminal, marks that turn the reading direction round,
// or bytes that are not UTF-8. What a person sees has all of these written out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tesker {

// The bytes with everything that is not plainly visible written out: "\n" and "\t" so, other
// control characters and bytes that are not UTF-8 as "\x1b", invisible characters as "\u{202e}",
// and the backslash doubled, so that no two texts look the same.
std::string displayText(std::string_view bytes);

// "FILE:LINE:COLUMN", as compilers name a place; line and column count from 1, and are left out
// where they are 0.
std::string displayPlace(std::string_view file, std::size_t line, std::size_t column);

// The columns that such a text takes in a terminal.
std::size_t displayColumns(std::string_view text);

} // namespace tesker
