#include "parsing/RecordEncoding.h"

#include "filesystem/TeskerObjectTable.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

namespace {

std::uint32_t withDigit(std::uint32_t number, char digit) {
  const std::uint32_t byte = static_cast<unsigned char>(digit);
  return number * 16 + (byte >= '0' && byte <= '9' ? byte - '0' : byte - 87U);
}

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

// The numbers of the index list, one after the other.
class IndexReader {
public:
  // Raises when the text is not a property list with an array.
  explicit IndexReader(std::string_view list) : list_(list) {
    if (!readPlainList())
      readPropertyList();
  }

  // Raises when there is none left.
  std::uint32_t number() {
    if (position_ == numbers_.size())
      throw NSException(NSRangeException, "the index list ends too early");
    return numbers_[position_++];
  }

  struct IndexPair {
    std::size_t key;
    std::size_t value;
  };
  // The indexes of one pair, both read before either is tested. One that is not below the limit is
  // logged and raises.
  IndexPair pairBelow(std::size_t limit) {
    const std::uint32_t key = number();
    const std::uint32_t value = number();
    if (key >= limit)
      refuse(position_ - 2);
    if (value >= limit)
      refuse(position_ - 1);
    return {key, value};
  }

  std::size_t left() const { return numbers_.size() - position_; }

private:
  // The list as it is written: unquoted tokens with single commas between them, each byte looked at
  // once. False, with nothing read, for any other text.
  bool readPlainList() {
    if (list_.size() < 2 || list_.front() != '(' || list_.back() != ')')
      return false;
    numbers_.reserve(list_.size() / 4 + 1);
    std::uint32_t number = 0;
    bool inToken = false;
    bool isPlain = true;
    for (const char byte : list_.substr(1, list_.size() - 2)) {
      if (isUnquotedCharacter(byte) && (inToken || byte != '/')) { // "/" may begin a comment
        number = withDigit(number, byte);
        inToken = true;
        continue;
      }
      isPlain = isPlain && inToken && byte == ',';
      numbers_.push_back(std::exchange(number, 0));
      inToken = false;
    }
    numbers_.push_back(number);
    if (!isPlain || !inToken)
      numbers_.clear();
    return isPlain && inToken;
  }

  // Ends before the first element that is not a string: what wants that number finds none.
  void readPropertyList() {
    const auto value = propertyList(list_);
    const NSArray *tokens = value->asArray();
    if (tokens == nullptr)
      throw NSException(NSInvalidArgumentException, "the last piece is not a list");
    for (const auto &element : *tokens) {
      const NSString token = element->asString();
      if (!token)
        return;
      numbers_.push_back(decodeHexInt(token.bytes()));
    }
  }

  [[noreturn]] void refuse(std::size_t place) const {
    const auto tokens = propertyList(list_);
    const NSString token =
        (*(tokens->asArray()->begin() + static_cast<std::ptrdiff_t>(place)))->asString();
    syslogError("==== Applications Finder: '%s' yielded %d",
                {token.bytes(), std::to_string(static_cast<std::int32_t>(numbers_[place]))});
    throw NSException(NSGenericException, "an index leaves the pool");
  }

  std::string_view list_;
  std::vector<std::uint32_t> numbers_;
  std::size_t position_ = 0;
};

// The texts that the numbers stand for. One becomes a string when a record wants it, the same
// bytes for all; what nobody wants costs no more than its place.
class Texts {
public:
  explicit Texts(std::string_view pool) {
    for (std::size_t end; (end = pool.find('\0')) != std::string_view::npos;
         pool.remove_prefix(end + 1))
      places_.push_back({pool.substr(0, end), nullptr});
  }
  std::size_t count() const { return places_.size(); }
  const NSString &at(std::size_t index) {
    Place &place = places_[index];
    if (!place.string)
      place.string = NSString::create(place.bytes);
    return place.string;
  }

private:
  struct Place {
    std::string_view bytes;
    NSString string;
  };
  std::vector<Place> places_;
};

TKLine decodeRecord(IndexReader &indexes, Texts &texts, NSZone &zone) {
  const std::size_t pairs = indexes.number();
  // The announced number is not a reason to allocate: each pair takes two of the numbers left.
  TKLine record = TKLine::create(std::min(pairs, indexes.left() / 2), zone);
  for (std::size_t pair = 0; pair < pairs; ++pair) {
    const auto [key, value] = indexes.pairBelow(texts.count());
    record.set(texts.at(key), texts.at(value));
  }
  return record;
}

Records decodeRecords(std::string_view text, NSZone &zone) {
  // The numbers first: without them there is nothing to take the texts apart for.
  const std::size_t start = text.rfind('\0') + 1; // 0 where there are no texts
  IndexReader indexes(text.substr(start));
  Texts texts(text.substr(0, start));
  Records records;
  const std::size_t count = indexes.number();
  records.reserve(std::min(count, indexes.left()));
  for (std::size_t i = 0; i < count; ++i)
    records.push_back(decodeRecord(indexes, texts, zone));
  return records;
}

} // namespace

NSString encodeParsedApp(const Records &records) {
  Encoder encoder(records.size());
  for (const TKLine &record : records)
    encoder.addRecord(record);
  return encoder.text();
}

std::optional<Records> decodeParsedApp(const NSString &text, NSZone &zone) {
  if (text.length() == 0)
    return Records();
  try {
    return decodeRecords(text.bytes(), zone);
  } catch (const NSException &) {
    return std::nullopt;
  }
}

std::uint32_t decodeHexInt(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char digit : digits)
    value = withDigit(value, digit);
  return value;
}

} // namespace tesker
