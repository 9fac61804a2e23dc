#include "catalog/AnswerDiff.h"

#include "catalog/Programs.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace tesker {

namespace {

// What a record is of.
auto identityOf(const SearchRecord &record) {
  return std::tuple(valueOf(record, "path"), valueOf(record, "type"), valueOf(record, "name"));
}
using Identity = decltype(identityOf(std::declval<SearchRecord>()));

using Pairs = std::vector<std::pair<std::string_view, std::string_view>>;

Pairs sortedPairs(const SearchRecord &record) {
  Pairs pairs(record.pairs.begin(), record.pairs.end());
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

// How many equal records an answer has.
using Counts = std::map<Pairs, std::size_t>;

Counts countsIn(std::span<const SearchRecord> records) {
  Counts counts;
  for (const SearchRecord &record : records)
    ++counts[sortedPairs(record)];
  return counts;
}

// Those that have no equal one in the other answer, in their order.
std::vector<const SearchRecord *> withoutEqual(std::span<const SearchRecord> records,
                                               std::span<const SearchRecord> others) {
  Counts counts = records.empty() ? Counts() : countsIn(others);
  std::vector<const SearchRecord *> left;
  for (const SearchRecord &record : records) {
    const auto equals = counts.empty() ? counts.end() : counts.find(sortedPairs(record));
    if (equals == counts.end())
      left.push_back(&record);
    else if (--equals->second == 0)
      counts.erase(equals);
  }
  return left;
}

// Leaves out what is equal at the beginning and at the end, as most of two answers is.
void trim(std::span<const SearchRecord> &a, std::span<const SearchRecord> &b) {
  while (!a.empty() && !b.empty() && a.front() == b.front()) {
    a = a.subspan(1);
    b = b.subspan(1);
  }
  while (!a.empty() && !b.empty() && a.back() == b.back()) {
    a = a.first(a.size() - 1);
    b = b.first(b.size() - 1);
  }
}

} // namespace

std::vector<RecordChange> differences(std::span<const SearchRecord> before,
                                      std::span<const SearchRecord> after) {
  trim(before, after);
  const std::vector<const SearchRecord *> gone = withoutEqual(before, after);
  std::vector<const SearchRecord *> added = withoutEqual(after, before);
  // The places in `added`, the first one last.
  std::map<Identity, std::vector<std::size_t>> counterparts;
  for (std::size_t i = gone.empty() ? 0 : added.size(); i-- > 0;)
    counterparts[identityOf(*added[i])].push_back(i);

  std::vector<RecordChange> changes;
  for (const SearchRecord *old : gone) {
    const auto found = counterparts.find(identityOf(*old));
    if (found == counterparts.end() || found->second.empty()) {
      changes.push_back({old, nullptr});
      continue;
    }
    const std::size_t place = found->second.back();
    found->second.pop_back();
    changes.push_back({old, std::exchange(added[place], nullptr)});
  }
  for (const SearchRecord *record : added)
    if (record != nullptr)
      changes.push_back({nullptr, record});
  return changes;
}

std::vector<PairChange> pairChanges(const RecordChange &change) {
  std::map<std::string_view, PairChange> byKey;
  for (const auto &[key, value] : change.before->pairs)
    byKey[key] = {key, &value, nullptr};
  for (const auto &[key, value] : change.after->pairs)
    byKey.try_emplace(key, PairChange{key, nullptr, nullptr}).first->second.after = &value;
  std::vector<PairChange> changes;
  for (const auto &[key, pair] : byKey)
    if (pair.before == nullptr || pair.after == nullptr || *pair.before != *pair.after)
      changes.push_back(pair);
  return changes;
}

} // namespace tesker
