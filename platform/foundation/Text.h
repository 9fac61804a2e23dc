// Text.h - what texts are written with and taken apart by: UTF-8, digits, separators.
//
// Pure functions, for any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// ---- UTF-8, and telling it from other bytes ----
//
// Names are bytes, UTF-8 by convention only; what shows them to a person or writes them as JSON has
// to know where the convention holds.

// Appends the character of the code, which is at most U+10FFFF.
void appendUtf8(std::string &text, char32_t code);

// The character at the beginning of some bytes.
struct Utf8Character {
  char32_t code;      // meaningless when length is 0
  std::size_t length; // in bytes, 1 to 4; 0 when the bytes are not UTF-8 (or there are none)
};

// Overlong forms, surrogates and codes above U+10FFFF are not UTF-8.
Utf8Character firstUtf8Character(std::string_view bytes);

// True when all of the bytes are UTF-8; no bytes are.
bool isUtf8(std::string_view bytes);
// Whether it is a control character of ASCII.
[[nodiscard]] inline bool isControl(char byte) {
  return static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
}

// ---- letters without their case ----

// The byte, an ASCII capital as its small letter; whatever the locale.
constexpr char withoutCase(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}
[[nodiscard]] std::string withoutCase(std::string_view text);

// ---- digits of numbers and bytes, in and out ----

// The value of a digit of the base (at most 16; letters of either case), or nothing when the byte
// is not such a digit.
[[nodiscard]] std::optional<unsigned> digitValue(char byte, unsigned base);

// Appends two lower-case digits for each byte.
void appendHexadecimal(std::string &text, std::string_view bytes);
// Appends the number in lower-case digits, without a prefix or leading zeros.
void appendHexadecimal(std::string &text, std::uint64_t number);

// ---- a text taken apart at a separator ----

// The pieces between the separators, in order; one piece (the whole) when there is none, and empty
// pieces at the ends and between neighbours. The pieces lie in the text.
[[nodiscard]] std::vector<std::string_view> piecesOf(std::string_view text, char separator);

// The path without the slashes at its end, but for a lone root.
[[nodiscard]] std::string_view withoutSlashesAtItsEnd(std::string_view path);
// The path of a name in a directory, whose path ends in no slash but is the root's.
[[nodiscard]] std::string joinedPath(std::string_view directory, std::string_view name);
// Whether the path is the directory's or one below it, as far as their texts say.
[[nodiscard]] bool isAtOrBelow(std::string_view path, std::string_view directory);

} // namespace tesker
