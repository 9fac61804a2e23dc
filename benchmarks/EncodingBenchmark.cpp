// EncodingBenchmark.cpp - what it costs to write and to read the text that carries all records.
//
// Of 100000 records of 5 pairs, made as the parsers make those of document types: the ten records
// of an application share the strings of its path and name. Read "Encode" against "Encode_Plain",
// which writes the same text with a standard hash table over the bytes of keys and values and no
// more: the difference is what our own strings and tables save or cost. Read "Decode",
// which makes every record and every string again, against "Encode_Plain", too.
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "parsing/TKLine.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tesker {
namespace {

constexpr std::size_t kRecords = 100'000;
constexpr std::size_t kRecordsOfAnApplication = 10;
constexpr std::size_t kExtensions = 4000;
constexpr std::size_t kIconsOfAnApplication = 3;

Records makeRecords() {
  Records records;
  NSString path;
  NSString appName;
  for (std::size_t i = 0; i < kRecords; ++i) {
    const std::string application = "App" + std::to_string(i / kRecordsOfAnApplication);
    const std::string icon = std::to_string(i % kIconsOfAnApplication);
    if (i % kRecordsOfAnApplication == 0) {
      path = NSString::create("/usr/local/Applications/" + application + ".app/" + application);
      appName = NSString::create(application);
    }
    TKLine record = TKLine::create(5);
    record.set(recordWords().type, "extension"_ns);
    record.set(recordWords().name, NSString::create("ext" + std::to_string(i % kExtensions)));
    record.set(recordWords().appName, appName);
    record.set(recordWords().icon, NSString::create(application + "-" + icon + ".tiff"));
    record.set(recordWords().path, path);
    records.push_back(std::move(record));
  }
  return records;
}

class PlainEncoder {
public:
  std::string text(const Records &all) {
    appendNumber(all.size());
    for (const TKLine &record : all)
      addRecord(record);
    return texts_ + "(" + indexes_ + ")";
  }

private:
  void addRecord(const TKLine &record) {
    pairs_.clear();
    for (const auto &[key, value] : record)
      pairs_.emplace_back(key.bytes(), value->asString().bytes()); // the record keeps the bytes
    std::sort(pairs_.begin(), pairs_.end(), std::greater());
    appendNumber(pairs_.size());
    for (const auto &[key, value] : pairs_) {
      appendNumber(indexOf(key));
      appendNumber(indexOf(value));
    }
  }

  void appendNumber(std::size_t number) {
    char digits[2 * sizeof number];
    char *end = std::to_chars(digits, digits + sizeof digits, number, 16).ptr;
    if (!indexes_.empty())
      indexes_ += ',';
    indexes_.append(digits, end);
  }

  unsigned indexOf(std::string_view text) {
    const auto [place, isNew] = pool_.try_emplace(text, static_cast<unsigned>(pool_.size()));
    if (isNew) {
      texts_ += text;
      texts_ += '\0';
    }
    return place->second;
  }

  std::unordered_map<std::string_view, unsigned> pool_;
  std::vector<std::pair<std::string_view, std::string_view>> pairs_;
  std::string texts_;
  std::string indexes_;
};

// The text of such records. Both encoders have to write the same for their times to be compared.
const NSString &text() {
  static const NSString encoded = encodeParsedApp(makeRecords());
  static const bool same = encoded == PlainEncoder().text(makeRecords());
  if (!same)
    std::abort();
  return encoded;
}

// New records each time, since a walk's are encoded once and strings keep their hashes.
template <class Function> void encodeNewRecords(benchmark::State &state, Function encode) {
  Records records;
  for (auto _ : state) {
    state.PauseTiming();
    records = makeRecords();
    state.ResumeTiming();
    benchmark::DoNotOptimize(encode(records));
  }
}

void Encode(benchmark::State &state) { encodeNewRecords(state, encodeParsedApp); }

void Encode_Plain(benchmark::State &state) {
  encodeNewRecords(state, [](const Records &records) { return PlainEncoder().text(records); });
}

void Decode(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(decodeParsedApp(text(), NSDefaultMallocZone()));
}

BENCHMARK(Encode)->Unit(benchmark::kMillisecond);
BENCHMARK(Encode_Plain)->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace tesker

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  tesker::text();
  benchmark::RunSpecifiedBenchmarks();
}
