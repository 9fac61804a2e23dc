// Malformed property lists, each with the reason that its exception gives.
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"

#include <gtest/gtest.h>

#include <string>

namespace tesker {
namespace {

using namespace std::string_view_literals;

// The reason for which the text is malformed.
std::string problem(std::string_view text) {
  try {
    return "read as " + std::string(propertyList(text)->description().bytes());
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSParseErrorException");
    return exception.reason();
  }
}

TEST(PropertyListMalformedTest, EmptyText) {
  EXPECT_EQ(problem(""), "expected a value at line 1, column 1");
}

TEST(PropertyListMalformedTest, TextOfBlanksAndCommentsOnly) {
  EXPECT_EQ(problem(" \n\t"), "expected a value at line 2, column 2");
  EXPECT_EQ(problem("// a"), "expected a value at line 1, column 5");
  EXPECT_EQ(problem("/* a */"), "expected a value at line 1, column 8");
}

TEST(PropertyListMalformedTest, JunkAfterTheValue) {
  EXPECT_EQ(problem("a b"), "junk after the value at line 1, column 3");
  EXPECT_EQ(problem("(a))"), "junk after the value at line 1, column 4");
  EXPECT_EQ(problem("{};"), "junk after the value at line 1, column 3");
  EXPECT_EQ(problem("\"a\"\"b\""), "junk after the value at line 1, column 4");
  EXPECT_EQ(problem("a\0"sv), "junk after the value at line 1, column 2");
}

TEST(PropertyListMalformedTest, AMissingSemicolonBeforeTheEndOfADictionary) {
  EXPECT_EQ(problem("{a = b}"), "expected \";\" after a pair at line 1, column 7");
  EXPECT_EQ(problem("{a = b; c = d }"), "expected \";\" after a pair at line 1, column 15");
  EXPECT_EQ(problem("{a = b c = d;}"), "expected \";\" after a pair at line 1, column 8");
}

TEST(PropertyListMalformedTest, AKeyWithoutAValue) {
  EXPECT_EQ(problem("{a;}"), "expected \"=\" after a key at line 1, column 3");
  EXPECT_EQ(problem("{a = ;}"), "expected a value at line 1, column 6");
  EXPECT_EQ(problem("{a b;}"), "expected \"=\" after a key at line 1, column 4");
}

TEST(PropertyListMalformedTest, AKeyThatIsNoString) {
  EXPECT_EQ(problem("{(a) = b;}"), "expected a key at line 1, column 2");
  EXPECT_EQ(problem("{<00> = b;}"), "expected a key at line 1, column 2");
  EXPECT_EQ(problem("{;}"), "expected a key at line 1, column 2");
  EXPECT_EQ(problem("{a = b;;}"), "expected a key at line 1, column 8");
}

TEST(PropertyListMalformedTest, AnOddNumberOfDataDigits) {
  EXPECT_EQ(problem("<0fb>"), "odd number of digits in data at line 1, column 6");
  EXPECT_EQ(problem("<0 f b>"), "odd number of digits in data at line 1, column 8");
}

TEST(PropertyListMalformedTest, DataThatIsNotHexadecimal) {
  EXPECT_EQ(problem("<0g>"), "expected a hexadecimal digit in data at line 1, column 3");
  EXPECT_EQ(problem("<00 /* */>"), "expected a hexadecimal digit in data at line 1, column 5");
}

TEST(PropertyListMalformedTest, XMLText) {
  EXPECT_EQ(problem("<?xml version=\"1.0\"?><plist><dict/></plist>"),
            "expected a hexadecimal digit in data at line 1, column 2");
}

TEST(PropertyListMalformedTest, BinaryText) {
  EXPECT_EQ(problem("bplist00\xD1\x01\x02"), "junk after the value at line 1, column 9");
}

TEST(PropertyListMalformedTest, AnArrayWithoutACommaBetweenValues) {
  EXPECT_EQ(problem("(a b)"), "expected \",\" or \")\" in an array at line 1, column 4");
  EXPECT_EQ(problem("(a; b)"), "expected \",\" or \")\" in an array at line 1, column 3");
}

TEST(PropertyListMalformedTest, AnArrayWithACommaButNoValueBeforeIt) {
  EXPECT_EQ(problem("(,)"), "expected a value at line 1, column 2");
  EXPECT_EQ(problem("(a,,b)"), "expected a value at line 1, column 4");
}

TEST(PropertyListMalformedTest, AnEndTooEarly) {
  EXPECT_EQ(problem("("), "expected a value at line 1, column 2");
  EXPECT_EQ(problem("(a"), "expected \",\" or \")\" in an array at line 1, column 3");
  EXPECT_EQ(problem("(a,"), "expected a value at line 1, column 4");
  EXPECT_EQ(problem("{"), "expected a key at line 1, column 2");
  EXPECT_EQ(problem("{a"), "expected \"=\" after a key at line 1, column 3");
  EXPECT_EQ(problem("{a ="), "expected a value at line 1, column 5");
  EXPECT_EQ(problem("{a = b"), "expected \";\" after a pair at line 1, column 7");
  EXPECT_EQ(problem("{a = b;"), "expected a key at line 1, column 8");
  EXPECT_EQ(problem("<00"), "data without an end at line 1, column 4");
  EXPECT_EQ(problem("\"a"), "string without an end at line 1, column 3");
  EXPECT_EQ(problem("\"a\\"), "string without an end at line 1, column 4");
  EXPECT_EQ(problem("\"a\\\""), "string without an end at line 1, column 5");
  EXPECT_EQ(problem("\"\\12"), "string without an end at line 1, column 5");
  EXPECT_EQ(problem("\"\\Ud800\\U"), "string without an end at line 1, column 10");
}

TEST(PropertyListMalformedTest, ACommentWithoutAnEnd) {
  EXPECT_EQ(problem("a /* b"), "comment without an end at line 1, column 3");
  EXPECT_EQ(problem("/*/"), "comment without an end at line 1, column 1");
  EXPECT_EQ(problem("/*"), "comment without an end at line 1, column 1");
}

TEST(PropertyListMalformedTest, ACommentRightBehindAnUnquotedString) {
  EXPECT_EQ(problem("a/* b */"), "junk after the value at line 1, column 3");
}

TEST(PropertyListMalformedTest, BytesThatMayNotStandUnquoted) {
  for (const char byte : "+*%!?@#&'`~^|\\[]\x7F\xC3\x01"sv)
    EXPECT_EQ(problem(std::string(1, byte)), "expected a value at line 1, column 1") << byte;
  EXPECT_EQ(problem("\0"sv), "expected a value at line 1, column 1");
  EXPECT_EQ(problem("caf\xC3\xA9"), "junk after the value at line 1, column 4");
}

TEST(PropertyListMalformedTest, NestingDeeperThan512) {
  EXPECT_EQ(problem(std::string(513, '(') + std::string(513, ')')),
            "nesting too deep at line 1, column 514");
  std::string text;
  for (int i = 0; i < 256; ++i)
    text += "({k=";
  EXPECT_EQ(problem(text + "()"), "nesting too deep at line 1, column 1026");
}

TEST(PropertyListMalformedTest, NestingWithoutEndDoesNotExhaustTheStack) {
  EXPECT_EQ(problem(std::string(5000000, '(')), "nesting too deep at line 1, column 514");
  std::string text;
  for (int i = 0; i < 1000000; ++i)
    text += "{a=";
  EXPECT_EQ(problem(text), "nesting too deep at line 1, column 1538");
}

TEST(PropertyListMalformedTest, LineAndColumnAreCountedInBytesFromOne) {
  EXPECT_EQ(problem("{\n  a = b;\n  \"\xC3\xA9\" ;\n}"),
            "expected \"=\" after a key at line 3, column 8");
  EXPECT_EQ(problem("\n\n;"), "expected a value at line 3, column 1");
}

TEST(PropertyListMalformedTest, WhatWasReadBeforeTheErrorIsGivenUpWhole) {
  std::string text = "(";
  for (int i = 0; i < 10000; ++i)
    text += "{k = <00>; l = \"s\"; },\n";
  EXPECT_EQ(problem(text), "expected a value at line 10001, column 1");
}

} // namespace
} // namespace tesker
