// RecordJSON.h - records as JSON and back.
//
// A record is {"pairs":{KEY:VALUE,...}}. Keys and values are JSON strings where their bytes are
// UTF-8. A value of other bytes is {"hex":"ff00"}, and a pair whose key has other bytes stands in a
// second member, "otherPairs":[{"key":{"hex":"ff"},"value":VALUE},...], so nothing is lost and no
// key is reserved. docs/json.md describes the whole document. Threading: one thread.
#pragma once

#include "platform/foundation/NSDictionary.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace tesker {

// The version of the documents that are written and read.
inline constexpr int kJSONSchema = 1;

// The bytes as a JSON value: a string, or {"hex":...} when they are no UTF-8.
std::string textAsJSON(std::string_view bytes);

// The record on one line. Values that are no strings appear as their descriptions.
std::string recordAsJSON(const NSDictionary &record);

// What is wrong with a document that holds no records as `decode --format json` writes them; the
// text says where, and is fit to be shown.
class JSONError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The records of a document with exactly one result. Throws JSONError when it is no such document
// or holds what the encoded text cannot carry (a NUL).
Ref<NSMutableArray> recordsFromJSON(std::string_view document);

} // namespace tesker
