// RecordJSON.h - records as JSON and back.
//
// A record is {"pairs":{KEY:VALUE,...}}. Keys and values are JSON strings where their bytes are
// UTF-8. A value of other bytes is {"hex":"ff00"}, and a pair whose key has other bytes stands in a
// second member, "otherPairs":[{"key":{"hex":"ff"},"value":VALUE},...], so nothing is lost and no
// key is reserved. docs/json.md describes the whole document.
#pragma once

#include "master/SearchOutcome.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The version of the documents that are written and read.
inline constexpr int kJSONSchema = 1;

// The bytes as a JSON value: a string, or {"hex":...} when they are not UTF-8.
[[nodiscard]] std::string textAsJSON(std::string_view bytes);

// The record on one line, its pairs sorted by their keys.
[[nodiscard]] std::string recordAsJSON(const SearchRecord &record);

// What is wrong with a document that does not hold records as `decode --format json` writes them;
// the text says where, and is fit to be shown.
class JSONError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The records of a document with exactly one result. Throws JSONError when the document is not of
// that kind or holds what the encoded text cannot carry (a NUL).
[[nodiscard]] std::vector<SearchRecord> recordsFromJSON(std::string_view document);

} // namespace tesker
