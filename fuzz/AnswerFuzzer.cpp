// AnswerFuzzer.cpp - the input as an answer's text, as the master takes it: what check() says of it
// is what next() finds, and what is decoded travels again.
#include "fuzz/Check.h"
#include "fuzz/Silence.h"
#include "master/SearchOutcome.h"

#include <cstdint>

using namespace tesker;

namespace {

// All records that can be taken, one by one.
std::vector<SearchRecord> taken(EncodedRecords &encoded) {
  std::vector<SearchRecord> records;
  while (auto record = encoded.next())
    records.push_back(std::move(*record));
  return records;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  EncodedRecords checked(text), unchecked(text);
  const bool isWellFormed = checked.check();
  check(isWellFormed != checked.isMalformed());
  const auto records = taken(checked), same = taken(unchecked);
  check(unchecked.isMalformed() == !isWellFormed && checked.isMalformed() == !isWellFormed);
  check(!isWellFormed || (records.size() == checked.count() && records == same));
  const auto decoded = decodeRecords(text);
  check(decoded.has_value() == isWellFormed);
  if (!decoded)
    return 0;
  check(*decoded == records);
  const auto again = decodeRecords(encodeRecords(records));
  check(again && again->size() == records.size());
  return 0;
}
