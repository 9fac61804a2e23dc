// PropertyListDescription.h - the text that objects are described by.
//
// The same old-style form that PropertyList.h reads: one line of property list, or a strings file.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <array>

namespace tesker {

// One line of property-list text that reads back equal. A string alone is its own text; inside a
// container it is quoted unless it is non-empty, made of unquoted characters and does not start
// with "/". Objects of other kinds appear as their quoted descriptions.
[[nodiscard]] NSString propertyListDescription(const NSObject &object);

// What stays of a container of which only the description is wanted: an object with the same
// description, equal to what stays of an equal container. Nested containers take fifty times the
// memory of their text.
[[nodiscard]] Ref<NSObject> descriptionOnly(const NSObject &object);

// The dictionary as a strings file, one `key = value;` a line, that reads back equal.
[[nodiscard]] NSString descriptionInStringsFileFormat(const NSDictionary &dictionary);

// ---- what reader and writer of property lists have to agree on ----

namespace detail {

consteval std::array<bool, 256> unquotedCharacters() {
  std::array<bool, 256> may{};
  for (unsigned char byte = '0'; byte <= '9'; ++byte)
    may[byte] = true;
  for (unsigned char byte = 'a'; byte <= 'z'; ++byte)
    may[byte] = may[byte - 'a' + 'A'] = true;
  for (const char byte : {'_', '$', '/', ':', '.', '-'})
    may[static_cast<unsigned char>(byte)] = true;
  return may;
}
inline constexpr auto kUnquotedCharacters = unquotedCharacters();

} // namespace detail

// Whether the byte may stand in a string without quotation marks.
constexpr bool isUnquotedCharacter(char byte) {
  return detail::kUnquotedCharacters[static_cast<unsigned char>(byte)];
}

} // namespace tesker
