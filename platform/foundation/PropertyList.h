// PropertyList.h - old-style property lists, read.
//
// The old-style text form (strings, arrays, dictionaries and data; no XML, no
// binary form). Values are NSString, NSArray, NSDictionary and NSData objects.
//
//   string       unquoted: letters, digits and _ $ / : . -   or quoted: "any \"text\""
//   array        ( value, value )        a "," before ")" is allowed
//   dictionary   { key = value; }        each pair ends in ";"; keys are strings; of two equal keys
//                                        the last wins, in the first one's place
//   data         <0fbd77>                hexadecimal, an even number of digits, blanks between
//
// Blanks are bytes 9-13 and 32. Comments, "//" to the end of the line and "/*" to "*/", may stand
// where a token could begin: not right behind an unquoted string, for "/" is part of it.
//
// In quoted strings: \a \b \f \n \r \t \v \\ \" ; one to three octal digits, the character of that
// code modulo 256; \U and up to four hexadecimal digits, a UTF-16 unit (surrogate pairs join, a
// lone one becomes U+FFFD; without a digit it is "U"); any other character stands for itself.
// Characters above 127 are written as UTF-8; all other bytes are taken as they are.
//
// Malformed text (empty text, junk after the value, nesting deeper than 512, an end too early)
// raises NSParseErrorException; its reason gives line and column, counted from 1 in bytes.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <cstddef>
#include <string_view>

namespace tesker {

// The most bytes of a file that is read as a property list. Values take up to fifty times the size
// of their text, so a hostile file much smaller than the memory could fill it.
inline constexpr std::size_t kLargestPropertyListFile = std::size_t{16} << 20;

// The value that the text holds.
[[nodiscard]] Ref<NSObject> propertyList(std::string_view text);

// The pairs of a strings file: `key = value;` and `key;` (the value equals the key) one after the
// other, without braces; values of any kind. A text without any pair is an empty dictionary.
[[nodiscard]] Ref<NSDictionary> propertyListFromStringsFileFormat(std::string_view text);

// Reads the file as a property list. Nil when it cannot be read, is not a regular file, is larger
// than kLargestPropertyListFile, or holds a value that is not a dictionary; raises
// NSParseErrorException when its text is malformed.
[[nodiscard]] RefPtr<const NSDictionary> dictionaryWithContentsOfFile(const NSString &path);

} // namespace tesker
