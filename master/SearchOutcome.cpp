#include "master/SearchOutcome.h"

#include "parsing/RecordEncoding.h"

#include <cstring>

namespace tesker {

namespace {

SearchRecord recordOf(const TKLine &line) {
  SearchRecord record;
  record.pairs.reserve(line.count());
  for (const auto &[key, value] : line)
    record.pairs.emplace_back(key.bytes(), value->asString().bytes()); // decoded, each is a string
  return record;
}

TKLine lineOf(const SearchRecord &record) {
  TKLine line = TKLine::create(record.pairs.size());
  for (const auto &[key, value] : record.pairs)
    line.set(NSString::create(key), NSString::create(value));
  return line;
}

} // namespace

std::string describe(SearchStage stage) {
  switch (stage) {
  case SearchStage::handOver:
    return "before the hand-over";
  case SearchStage::search:
    return "during the search";
  case SearchStage::end:
    break;
  }
  return "after its answer";
}

std::string describe(const ToolEnd &end) {
  switch (end.kind) {
  case ToolEnd::Kind::exited:
    return "exit status " + std::to_string(end.value);
  case ToolEnd::Kind::killed:
    return "signal " + std::to_string(end.value) + " (" + ::strsignal(end.value) + ")";
  case ToolEnd::Kind::unknown:
    break;
  }
  return "exit status unknown";
}

const std::string *SearchRecord::find(std::string_view key) const {
  for (const auto &[name, value] : pairs)
    if (name == key)
      return &value;
  return nullptr;
}

std::optional<std::vector<SearchRecord>> decodeRecords(std::string_view text) {
  const std::optional<Records> lines =
      decodeParsedApp(NSString::create(text), NSDefaultMallocZone());
  if (!lines)
    return std::nullopt;
  std::vector<SearchRecord> records;
  records.reserve(lines->size());
  for (const TKLine &line : *lines)
    records.push_back(recordOf(line));
  return records;
}

std::string encodeRecords(const std::vector<SearchRecord> &records) {
  Records lines;
  lines.reserve(records.size());
  for (const SearchRecord &record : records)
    lines.push_back(lineOf(record));
  return std::string(encodeParsedApp(lines).bytes());
}

} // namespace tesker
