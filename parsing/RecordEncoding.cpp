#include "parsing/RecordEncoding.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <utility>

namespace tesker {

void RecordEncoder::add(const TKLine &record) {
  ++records_;
  if (!hasKeysOfLast(record))
    sortKeys(record);
  addNumber(record.count());
  for (Key &key : keys_) {
    const Pair &pair = record.begin()[key.place];
    // In the order of the pairs, so that the pool grows in it.
    if (!key.index)
      key.index = indexOf(pair.key.object().toRef());
    addNumber(*key.index);
    addNumber(indexOf(pair.value));
  }
}

NSString RecordEncoder::text() && {
  // The strings are in the pool: before there is a third copy they go.
  keys_.clear();
  table_ = nullptr;
  std::string count = "(";
  appendHexadecimal(count, records_);
  std::string text = std::move(pool_);
  text.reserve(text.size() + count.size() + indexes_.size() + 1); // and not twice what there was
  text += count;
  text += indexes_;
  text += ')';
  return NSString::takingOver(std::move(text));
}

// Records of one kind follow one another and share the bytes of their keys, so that sorting and
// finding them is done once for many.
bool RecordEncoder::hasKeysOfLast(const TKLine &record) const {
  return record.count() == keys_.size() && std::ranges::all_of(keys_, [&](const Key &key) {
           return record.begin()[key.place].key.isSameObjectAs(key.key);
         });
}

// From the last key to the first: this order is part of the format.
void RecordEncoder::sortKeys(const TKLine &record) {
  keys_.clear();
  for (const Pair &pair : record)
    keys_.push_back({pair.key, &pair - &*record.begin(), std::nullopt});
  std::ranges::sort(keys_, [](const Key &a, const Key &b) { return a.key.compare(b.key) > 0; });
}

void RecordEncoder::addNumber(std::size_t number) {
  indexes_ += ',';
  appendHexadecimal(indexes_, number);
}

// The pool index of the object, which enters the pool when no equal one is there. The table's
// values are the indexes themselves, dressed as pointers.
std::size_t RecordEncoder::indexOf(const Ref<NSObject> &object) {
  const std::size_t next = table_->count();
  void *const known = table_->valueForObjectOrSet(reinterpret_cast<void *>(next), object);
  const auto index = reinterpret_cast<std::size_t>(known);
  if (index == next) {
    pool_ += object->description().bytes();
    pool_ += '\0';
  }
  return index;
}

NSString encodeParsedApp(const Records &records) {
  RecordEncoder encoder;
  for (const TKLine &record : records)
    encoder.add(record);
  return std::move(encoder).text();
}

} // namespace tesker
