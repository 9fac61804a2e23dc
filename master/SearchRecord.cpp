#include "master/SearchRecord.h"

#include "parsing/RecordEncoding.h"

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
    line.setObjectForKey(NSString::create(value), NSString::create(key));
  return line;
}

} // namespace

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
