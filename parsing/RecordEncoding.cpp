#include "parsing/RecordEncoding.h"

#include "filesystem/TeskerObjectTable.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

namespace {

// Writes the pool and the index list side by side.
class Encoder {
public:
  explicit Encoder(std::size_t records) : indexes_("(") { appendHexadecimal(indexes_, records); }

  void addRecord(const TKLine &record) {
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

  NSString text() {
    pool_ += indexes_;
    pool_ += ')';
    return NSString::takingOver(std::move(pool_));
  }

private:
  // One key of the last record: where its pair stands, and its pool index once that is known.
  struct Key {
    NSString key;
    std::ptrdiff_t place;
    std::optional<std::size_t> index;
  };

  // Records of one kind follow one another and share the bytes of their keys, so that sorting and
  // finding them is done once for many.
  bool hasKeysOfLast(const TKLine &record) const {
    return record.count() == keys_.size() && std::ranges::all_of(keys_, [&](const Key &key) {
             return record.begin()[key.place].key.isSameObjectAs(key.key);
           });
  }

  // From the last key to the first: this order is part of the format.
  void sortKeys(const TKLine &record) {
    keys_.clear();
    for (const Pair &pair : record)
      keys_.push_back({pair.key, &pair - &*record.begin(), std::nullopt});
    std::ranges::sort(keys_, [](const Key &a, const Key &b) { return a.key.compare(b.key) > 0; });
  }

  void addNumber(std::size_t number) {
    indexes_ += ',';
    appendHexadecimal(indexes_, number);
  }

  // The pool index of the object, which enters the pool when no equal one is there. The table's
  // values are the indexes themselves, dressed as pointers.
  std::size_t indexOf(const Ref<NSObject> &object) {
    const std::size_t next = table_->count();
    void *const known = table_->valueForObjectOrSet(reinterpret_cast<void *>(next), object);
    const auto index = reinterpret_cast<std::size_t>(known);
    if (index == next) {
      pool_ += object->description().bytes();
      pool_ += '\0';
    }
    return index;
  }

  Ref<TeskerObjectTable> table_ = TeskerObjectTable::create();
  std::vector<Key> keys_;
  std::string pool_;
  std::string indexes_;
};

} // namespace

NSString encodeParsedApp(const Records &records) {
  Encoder encoder(records.size());
  for (const TKLine &record : records)
    encoder.addRecord(record);
  return encoder.text();
}

} // namespace tesker
