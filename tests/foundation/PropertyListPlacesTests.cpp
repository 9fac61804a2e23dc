// Where the values of a property list stand in its text.
#include "platform/foundation/NSArray.h"
#include "platform/foundation/PropertyList.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

TEST(PropertyListPlaces, AreThoseOfValuesAndTheirKeys) {
  constexpr std::string_view kText = "  { a = (b, \"c\");\n\td={e=<00>;}; }";
  PropertyListPlaces places;
  const auto list = propertyList(kText, &places);
  const NSDictionary &all = *list->asDictionary();
  const auto at = [&](const NSObject *value) { return places.of.at(value); };
  EXPECT_EQ(at(&all).value, 2U);
  EXPECT_EQ(at(&all).key, 2U);
  const NSArray *array = all.arrayForKey("a");
  EXPECT_EQ(at(array).value, kText.find('('));
  EXPECT_EQ(at(array).key, kText.find('a'));
  auto element = array->begin();
  EXPECT_EQ(at(&**element).value, kText.find('b'));
  EXPECT_EQ(at(&**++element).value, kText.find('"'));
  EXPECT_EQ(at(all.objectForKey("d")).key, kText.find('d'));
  EXPECT_EQ(at(all.dictionaryForKey("d")->objectForKey("e")).value, kText.find('<'));
}

TEST(PropertyListPlaces, AreOfTheLastOfTwoEqualKeys) {
  constexpr std::string_view kText = "{ a = b; a = c; }";
  PropertyListPlaces places;
  const auto list = propertyList(kText, &places);
  EXPECT_EQ(places.of.at(list->asDictionary()->objectForKey("a")).key, kText.rfind('a'));
  EXPECT_EQ(places.repeatedKeys, std::vector<std::size_t>{kText.find('a')});
}

TEST(PlaceInText, CountsLinesAndBytesFromOne) {
  const auto place = [](std::string_view text, std::size_t offset) {
    const TextPlace where = placeInText(text, offset);
    return std::pair(where.line, where.column);
  };
  EXPECT_EQ(place("", 0), std::pair(std::size_t{1}, std::size_t{1}));
  EXPECT_EQ(place("ab\ncd", 1), std::pair(std::size_t{1}, std::size_t{2}));
  EXPECT_EQ(place("ab\ncd", 2), std::pair(std::size_t{1}, std::size_t{3}));
  EXPECT_EQ(place("ab\ncd", 3), std::pair(std::size_t{2}, std::size_t{1}));
  EXPECT_EQ(place("ab\n\ncd", 5), std::pair(std::size_t{3}, std::size_t{2}));
}

TEST(PropertyListError, SaysWhatWasExpectedAndWhere) {
  try {
    (void)propertyList("{ a = b;\n c d; }");
    ADD_FAILURE() << "not raised";
  } catch (const PropertyListError &error) {
    EXPECT_EQ(error.expected(), "expected \"=\" after a key");
    EXPECT_EQ(error.where().line, 2U);
    EXPECT_EQ(error.where().column, 4U);
    EXPECT_EQ(error.reason(), "expected \"=\" after a key at line 2, column 4");
  }
}

} // namespace
} // namespace tesker::test
