// Texts.h - string objects written down in tests, and what is in them read back.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSString.h"

#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// A new string object: "a\0b"_ns has three bytes.
inline Ref<NSString> operator""_ns(const char *bytes, std::size_t length) {
  return NSString::create(std::string_view(bytes, length));
}

// The bytes of a string, "(nil)" for nil.
inline std::string textOf(const RefPtr<NSString> &string) {
  return string ? std::string(string->bytes()) : "(nil)";
}

// The texts of the elements, in order; {"(nil)"} for nil.
inline std::vector<std::string> textsOf(const RefPtr<NSMutableArray> &array) {
  if (!array)
    return {"(nil)"};
  std::vector<std::string> texts;
  for (const auto &element : *array)
    texts.emplace_back(element->description()->bytes());
  return texts;
}

// An array of new strings.
inline Ref<NSMutableArray> arrayOf(std::initializer_list<std::string_view> texts) {
  auto array = NSMutableArray::create(texts.size());
  for (const auto text : texts)
    array->addObject(NSString::create(text));
  return array;
}

} // namespace tesker::test
