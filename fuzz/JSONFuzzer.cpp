// JSONFuzzer.cpp - the input as a JSON document, and as the bytes of a record. What is read, or was
// a record, reads back equal.
#include "command/RecordJSON.h"
#include "fuzz/Check.h"

#include <algorithm>
#include <cstdint>
#include <optional>

using namespace tesker;

namespace {

using SearchRecords = std::vector<SearchRecord>;

std::string documentOf(const SearchRecords &records) {
  std::string document = R"({"schema":1,"results":[{"unchanged":false,"records":[)";
  for (const SearchRecord &record : records)
    document.append(&record == &records.front() ? "" : ",").append(recordAsJSON(record));
  return document + "]}]}";
}

// Nothing when the document is not one of records; what is wrong with it is said then.
std::optional<SearchRecords> recordsOf(std::string_view document) {
  try {
    return recordsFromJSON(document);
  } catch (const JSONError &error) {
    check(*error.what() != '\0');
    return std::nullopt;
  }
}

// Pairs are written in the order of their keys, those with other keys than UTF-8 behind them.
SearchRecords sorted(SearchRecords records) {
  for (SearchRecord &record : records)
    std::ranges::sort(record.pairs);
  return records;
}

void checkRoundTrip(const SearchRecords &records) {
  check(sorted(recordsFromJSON(documentOf(records))) == sorted(records));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  if (const auto records = recordsOf(bytes))
    checkRoundTrip(*records);
  std::string text(bytes);
  std::ranges::replace(text, '\0', '0'); // which no encoded text can carry
  const std::size_t half = text.size() / 2;
  checkRoundTrip({{{{text.substr(0, half), text.substr(half)}}}});
  return 0;
}
