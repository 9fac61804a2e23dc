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
// raises a PropertyListError, NSParseErrorException by name; its reason gives line and column,
// counted from 1 in bytes.
#pragma once

#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/NSException.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tesker {

// The most bytes of a file that is read as a property list. Values take up to fifty times the size
// of their text, so a hostile file much smaller than the memory could fill it.
inline constexpr std::size_t kLargestPropertyListFile = std::size_t{16} << 20;

// Where in a text something stands: line and column, counted from 1 in bytes.
struct TextPlace {
  std::size_t line;
  std::size_t column;
};
[[nodiscard]] TextPlace placeInText(std::string_view text, std::size_t offset);

// What malformed text raises: what was expected, and where.
class PropertyListError : public NSException {
public:
  PropertyListError(const std::string &what, TextPlace where);
  const std::string &expected() const { return expected_; }
  const TextPlace &where() const { return where_; }

private:
  std::string expected_;
  TextPlace where_;
};

// Where in the text each value begins, and the key that it is under, as offsets. For as long as the
// values live.
struct PropertyListPlaces {
  struct Offsets {
    std::size_t value;
    std::size_t key; // of the value itself where it has none
  };
  std::unordered_map<const NSObject *, Offsets> of;
  // Where keys stand that stand again in the same dictionary, and so do not count; in text order
  // of the keys that do.
  std::vector<std::size_t> repeatedKeys;
};

// The value that the text holds. Where places are wanted, they are those of all values in it.
[[nodiscard]] Ref<NSObject> propertyList(std::string_view text,
                                         PropertyListPlaces *places = nullptr);

// The pairs of a strings file: `key = value;` and `key;` (the value equals the key) one after the
// other, without braces; values of any kind. A text without any pair is an empty dictionary.
[[nodiscard]] Ref<NSDictionary> propertyListFromStringsFileFormat(std::string_view text);

// Reads the file as a property list. Nil when it cannot be read, is not a regular file, is larger
// than kLargestPropertyListFile, or holds a value that is not a dictionary; raises
// NSParseErrorException when its text is malformed.
[[nodiscard]] RefPtr<const NSDictionary> dictionaryWithContentsOfFile(const NSString &path);

} // namespace tesker
