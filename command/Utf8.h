// Utf8.h - telling UTF-8 from other bytes.
//
// Names are bytes, UTF-8 by convention only; what shows them to a person or writes them as JSON has
// to know where the convention holds. Pure functions, for any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace tesker {

// The character at the beginning of some bytes.
struct Utf8Character {
  char32_t code;      // meaningless when length is 0
  std::size_t length; // in bytes, 1 to 4; 0 when the bytes are no UTF-8 (or there are none)
};

// Overlong forms, surrogates and codes above U+10FFFF are no UTF-8.
Utf8Character firstUtf8Character(std::string_view bytes);

// True when all of the bytes are UTF-8; no bytes are.
bool isUtf8(std::string_view bytes);

} // namespace tesker
