// Texts.h - strings in tests: how they are printed, and arrays of them.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSString.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>

namespace tesker {

// How a failed expectation shows a string: its bytes in quotes, or nil. With it a string is
// compared as it is: EXPECT_EQ(name, "a"_ns), EXPECT_THAT(names, ElementsAre("a", "b")).
inline void PrintTo(const NSString &string, std::ostream *stream) {
  *stream << (string ? testing::PrintToString(std::string(string.bytes())) : "nil");
}

} // namespace tesker

namespace tesker::test {

// An array of new strings.
inline Ref<NSArray> arrayOf(std::initializer_list<std::string_view> texts) {
  auto array = NSArray::create();
  for (const auto text : texts)
    array->addObject(NSString::create(text).object());
  return array;
}

} // namespace tesker::test
