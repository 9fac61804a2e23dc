// TextFunctions.h - suffixes, and numbers inside texts.
#pragma once

#include "platform/foundation/NSString.h"

#include <cstddef>
#include <string_view>

namespace tesker {

// The text after the last "."; nil for nil, without a dot, and when the dot is the last character.
// A leading dot counts: ".profile" has the suffix "profile".
[[nodiscard]] NSString getSuffix(const NSString &name);
// The same of bytes that are not a string yet; empty where that is nil.
[[nodiscard]] std::string_view suffixOf(std::string_view name);
// The text before the last "."; nil for nil and without a dot (not the name itself).
[[nodiscard]] NSString strip(const NSString &name);

// Scans a decimal number from the substring of length bytes at start. When there is one it is
// stored, and the answer is the length of the whole scanned text (not just of the digits);
// otherwise the answer is 0 and result is left alone. Raises NSRangeException when the range leaves
// the string.
int scanIntFromIString(const NSString &string, std::size_t start, std::size_t length, int &result);

// ---- hash and equality for tables of records that are known by a string ----

// Those of the record's member `key`, where a table holds pointers to records, or of the key
// itself, where it stands beside the record.
struct hashStringKey {
  template <class Record> std::size_t operator()(const Record *record) const {
    return record->key.hash();
  }
  std::size_t operator()(const NSString &key) const { return key.hash(); }
};
struct isEqualStringKey {
  template <class Record> bool operator()(const Record *a, const Record *b) const {
    return a->key == b->key;
  }
  bool operator()(const NSString &a, const NSString &b) const { return a == b; }
};

} // namespace tesker
