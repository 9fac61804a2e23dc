// RecordTexts.h - records made in one line, and records as texts that a test can compare.
#pragma once

#include "parsing/TKLine.h"
#include "platform/foundation/PropertyListDescription.h"

#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker {

namespace test {

// A record of these pairs, in their order.
inline TKLine recordOf(std::initializer_list<std::pair<std::string_view, std::string_view>> pairs) {
  TKLine record = TKLine::create(pairs.size());
  for (const auto &[key, value] : pairs)
    record.set(NSString::create(key), NSString::create(value));
  return record;
}

// The string for the key; nil for other values and for none.
inline NSString stringFor(const TKLine &record, std::string_view key) {
  const NSObject *value = record.objectForKey(key);
  return value != nullptr ? value->asString() : NSString();
}

// Whether the record's pairs are in the zone. Precondition: there are some.
inline bool livesIn(const NSZone &zone, const TKLine &record) {
  const std::size_t before = zone.bytesInUse();
  const TKLine copy = record; // in the same zone
  return zone.bytesInUse() > before;
}

// The record as one line of property-list text, its pairs in their order.
inline std::string textOf(const TKLine &record) {
  const auto pairs = NSDictionary::create();
  for (const auto &[key, value] : record)
    pairs->setObjectForKey(RefPtr<NSObject>(value), key);
  return std::string(propertyListDescription(*pairs).bytes());
}

// The texts of the records, with the directory's path written as "@"; one text "(nil)" for nothing.
inline std::vector<std::string> recordTexts(const std::optional<Records> &records,
                                            const std::string &directory) {
  if (!records)
    return {"(nil)"};
  std::vector<std::string> texts;
  for (const TKLine &record : *records) {
    std::string text = textOf(record);
    for (std::size_t at; (at = text.find(directory)) != std::string::npos;)
      text.replace(at, directory.size(), "@");
    texts.push_back(std::move(text));
  }
  return texts;
}

} // namespace test

// How a failed expectation shows a record.
inline void PrintTo(const TKLine &record, std::ostream *stream) { *stream << test::textOf(record); }

} // namespace tesker
