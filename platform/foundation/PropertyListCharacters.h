// PropertyListCharacters.h - what reader and writer of property lists have to agree on.
// Internal to them.
#pragma once

namespace tesker {

// Whether the byte may stand in a string without quotation marks.
constexpr bool isUnquotedCharacter(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '_' || byte == '$' || byte == '/' || byte == ':' ||
         byte == '.' || byte == '-';
}

} // namespace tesker
