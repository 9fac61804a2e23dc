#include "catalog/CatalogRecords.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tesker {

std::span<const SearchRecord> CatalogRecords::of(std::size_t answer) const {
  return std::span(all_).subspan(beginningOf(answer), ends_[answer] - beginningOf(answer));
}

CatalogRecords::Replaced CatalogRecords::replace(std::vector<Fresh> fresh) {
  Replaced replaced;
  std::size_t count = all_.size();
  for (const Fresh &one : fresh) {
    count += one.records.size() - of(one.answer).size();
    replaced.changes.push_back({one.answer, differences(of(one.answer), one.records)});
    replaced.before.emplace_back().reserve(of(one.answer).size());
  }
  std::vector<SearchRecord> next;
  next.reserve(count);
  std::vector<std::size_t> ends;
  ends.reserve(ends_.size());

  // Nothing fails from here on. The changes are of records that move: the old ones all together,
  // the new ones each to its place.
  std::size_t given = 0;
  for (std::size_t answer = 0; answer < ends_.size(); ++answer) {
    const auto first = all_.begin() + static_cast<std::ptrdiff_t>(beginningOf(answer));
    const auto last = all_.begin() + static_cast<std::ptrdiff_t>(ends_[answer]);
    if (given == fresh.size() || fresh[given].answer != answer) {
      std::move(first, last, std::back_inserter(next));
    } else {
      std::vector<SearchRecord> &before = replaced.before[given];
      std::vector<SearchRecord> &after = fresh[given].records;
      for (RecordChange &change : replaced.changes[given].list) {
        if (change.before != nullptr)
          change.before = before.data() + (change.before - &*first);
        if (change.after != nullptr)
          change.after = next.data() + next.size() + (change.after - after.data());
      }
      std::move(first, last, std::back_inserter(before));
      std::move(after.begin(), after.end(), std::back_inserter(next));
      ++given;
    }
    ends.push_back(next.size());
  }
  index_.reset();
  all_ = std::move(next);
  ends_ = std::move(ends);
  return replaced;
}

const CatalogRecords::Index &CatalogRecords::index() const {
  if (!index_)
    index_ = std::make_unique<const Index>(all_);
  return *index_;
}

const std::vector<Program> &CatalogRecords::programs() const { return index().programs; }

const FileTypes &CatalogRecords::types() const { return index().types; }

} // namespace tesker
