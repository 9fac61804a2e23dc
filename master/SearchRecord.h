// SearchRecord.h - records as an answer brings them, and the text that they travel in.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker {

// One application, document type, services provider or bundle. docs/json.md says what the keys
// mean; keys and values are bytes, UTF-8 by convention.
struct SearchRecord {
  // In the order of the text; no key stands there twice.
  std::vector<std::pair<std::string, std::string>> pairs;

  // The value, lent until the record changes; nil when there is none for the key.
  [[nodiscard]] const std::string *find(std::string_view key) const;
  bool operator==(const SearchRecord &) const = default;
};

// The records that the encoded text holds; nothing when it is malformed.
[[nodiscard]] std::optional<std::vector<SearchRecord>> decodeRecords(std::string_view text);

// The encoded text of the records. A key or value that holds a NUL cannot be read back. Of pairs
// with one key the last counts.
[[nodiscard]] std::string encodeRecords(const std::vector<SearchRecord> &records);

} // namespace tesker
