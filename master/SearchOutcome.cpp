#include "master/SearchOutcome.h"

#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSException.h"

#include <algorithm>
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

struct EncodedRecords::Reader : RecordReader {
  using RecordReader::RecordReader;
};

// Runs the step unless the text has proved malformed, as what it raises says.
template <class Step> void EncodedRecords::attempt(Step step) {
  if (malformed_)
    return;
  try {
    step();
  } catch (const NSException &) {
    malformed_ = true;
  }
}

EncodedRecords::EncodedRecords(std::string_view text) {
  if (!text.empty())
    attempt([&] { reader_ = std::make_unique<Reader>(text, NSDefaultMallocZone()); });
}

EncodedRecords::EncodedRecords(EncodedRecords &&) noexcept = default;
EncodedRecords &EncodedRecords::operator=(EncodedRecords &&) noexcept = default;
EncodedRecords::~EncodedRecords() = default;

std::size_t EncodedRecords::count() const { return reader_ ? reader_->count() : 0; }

std::optional<SearchRecord> EncodedRecords::next() {
  std::optional<SearchRecord> record;
  attempt([&] {
    if (const std::optional<TKLine> line = reader_ ? reader_->next() : std::nullopt)
      record = recordOf(*line);
  });
  return record;
}

bool EncodedRecords::check() {
  attempt([&] {
    if (reader_)
      reader_->check();
  });
  return !malformed_;
}

std::optional<std::vector<SearchRecord>> decodeRecords(std::string_view text) {
  EncodedRecords encoded(text);
  std::vector<SearchRecord> records;
  records.reserve(std::min(encoded.count(), text.size() / 2)); // announced only
  while (std::optional<SearchRecord> record = encoded.next())
    records.push_back(std::move(*record));
  return encoded.isMalformed() ? std::nullopt : std::optional(std::move(records));
}

std::string encodeRecords(const std::vector<SearchRecord> &records) {
  Records lines;
  lines.reserve(records.size());
  for (const SearchRecord &record : records)
    lines.push_back(lineOf(record));
  return std::string(encodeParsedApp(lines).bytes());
}

} // namespace tesker
