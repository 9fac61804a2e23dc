#include "parsing/RecordEncoding.h"

#include "filesystem/TeskerObjectTable.h"
#include "parsing/TKLine.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace tesker {

namespace {

constexpr std::string_view kSeparator("\0", 1);

std::string hexadecimal(std::size_t number) {
  char digits[2 * sizeof number + 1];
  std::snprintf(digits, sizeof digits, "%zx", number);
  return digits;
}

// Writes the pool and the index list side by side.
class Encoder {
public:
  explicit Encoder(std::size_t records) : indexes_("(" + hexadecimal(records)) {}

  void addRecord(const NSDictionary &record) {
    std::vector<Ref<NSString>> keys;
    keys.reserve(record.count());
    auto enumerator = record.keyEnumerator();
    while (auto key = enumerator.nextObject())
      keys.push_back(key.toRef());
    // From the last key to the first: this order is part of the format.
    std::sort(keys.begin(), keys.end(),
              [](const auto &a, const auto &b) { return a->compare(*b) > 0; });
    addNumber(keys.size());
    for (const Ref<NSString> &key : keys) {
      addNumber(indexOf(key));
      addNumber(indexOf(record.objectForKey(key->bytes()).toRef()));
    }
  }

  Ref<NSString> text() {
    pool_->addObject(NSString::create(indexes_ + ")"));
    return pool_->componentsJoinedByString(kSeparator);
  }

private:
  void addNumber(std::size_t number) { indexes_ += "," + hexadecimal(number); }

  // The pool index of the object, which enters the pool when no equal one is there. The table's
  // values are the indexes themselves, dressed as pointers.
  std::size_t indexOf(const Ref<NSObject> &object) {
    if (table_->hasValueForObject(*object))
      return reinterpret_cast<std::size_t>(table_->valueForObject(*object));
    const std::size_t index = pool_->count();
    table_->setValueForObject(reinterpret_cast<void *>(index), object);
    pool_->addObject(object);
    return index;
  }

  Ref<NSMutableArray> pool_ = NSMutableArray::create();
  Ref<TeskerObjectTable> table_ = TeskerObjectTable::create();
  std::string indexes_;
};

// Reads the numbers of the index list one after the other; raises when there is none left.
class IndexReader {
public:
  IndexReader(Ref<NSArray> tokens, const NSString &text)
      : tokens_(std::move(tokens)), text_(text) {}

  std::uint32_t number() { return decodeHexInt(token()->bytes()); }

  struct Pair {
    std::size_t key;
    std::size_t value;
  };
  // The indexes of one pair, both read before either is tested. One that is not below the limit is
  // logged and raises.
  Pair pairBelow(std::size_t limit) {
    const Ref<NSString> key = token();
    const Ref<NSString> value = token();
    const std::size_t keyIndex = indexBelow(limit, *key);
    return {keyIndex, indexBelow(limit, *value)};
  }

  std::size_t left() const { return tokens_->count() - position_; }

private:
  Ref<NSString> token() {
    const RefPtr<NSString> string = as<NSString>(tokens_->objectAtIndex(position_++));
    if (!string)
      throw NSException(NSInvalidArgumentException, "the index list holds something else");
    return string.toRef();
  }

  std::size_t indexBelow(std::size_t limit, const NSString &digits) const {
    const std::uint32_t value = decodeHexInt(digits.bytes());
    if (value >= limit) {
      syslogError("==== Applications Finder: '%s' yielded %d",
                  {digits.bytes(), std::to_string(static_cast<std::int32_t>(value))});
      throw NSException(NSGenericException, std::string(text_.bytes()));
    }
    return value;
  }

  Ref<NSArray> tokens_;
  const NSString &text_;
  std::size_t position_ = 0;
};

// The texts that the numbers stand for. One becomes an object when a record wants it, the same
// object for all; what nobody wants costs no more than its place.
class Texts {
public:
  explicit Texts(std::string_view pool) {
    for (std::size_t end; (end = pool.find('\0')) != std::string_view::npos;
         pool.remove_prefix(end + 1))
      places_.push_back({pool.substr(0, end), nullptr});
  }
  std::size_t count() const { return places_.size(); }
  Ref<NSString> at(std::size_t index) {
    Place &place = places_[index];
    if (!place.object)
      place.object = NSString::create(place.bytes);
    return place.object.toRef();
  }

private:
  struct Place {
    std::string_view bytes;
    RefPtr<NSString> object;
  };
  std::vector<Place> places_;
};

Ref<TKLine> decodeRecord(IndexReader &indexes, Texts &texts, NSZone &zone) {
  const std::size_t pairs = indexes.number();
  // The announced number is no reason to allocate: each pair takes two of the numbers left.
  auto record = TKLine::create(std::min(pairs, indexes.left() / 2), zone);
  for (std::size_t pair = 0; pair < pairs; ++pair) {
    const auto [key, value] = indexes.pairBelow(texts.count());
    record->setObjectForKey(texts.at(value), *texts.at(key));
  }
  return record;
}

Ref<NSMutableArray> decodeRecords(const NSString &text, NSZone &zone) {
  // The numbers first: without them there is nothing to take the texts apart for.
  const std::string_view bytes = text.bytes();
  const std::size_t start = bytes.rfind('\0') + 1; // 0 where there are no texts
  const RefPtr<NSArray> tokens = as<NSArray>(propertyList(bytes.substr(start)));
  if (!tokens)
    throw NSException(NSInvalidArgumentException, "the last piece is no list");
  IndexReader indexes(tokens.toRef(), text);
  Texts texts(bytes.substr(0, start));
  auto records = NSMutableArray::create();
  const std::size_t count = indexes.number();
  for (std::size_t i = 0; i < count; ++i)
    records->addObject(decodeRecord(indexes, texts, zone));
  return records;
}

} // namespace

Ref<NSString> encodeParsedApp(const NSArray &records) {
  Encoder encoder(records.count());
  for (const Ref<NSObject> &record : records) {
    const auto *dictionary = as<NSDictionary>(&*record);
    if (dictionary == nullptr)
      throw NSException(NSInvalidArgumentException, "a record is no dictionary");
    encoder.addRecord(*dictionary);
  }
  return encoder.text();
}

RefPtr<NSMutableArray> decodeParsedApp(const NSString &text, NSZone &zone) {
  if (text.length() == 0)
    return NSMutableArray::create();
  try {
    return decodeRecords(text, zone);
  } catch (const NSException &) {
    return nullptr;
  }
}

std::uint32_t decodeHexInt(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char character : digits) {
    const std::uint32_t byte = static_cast<unsigned char>(character);
    value = value * 16 + (byte >= '0' && byte <= '9' ? byte - '0' : byte - 87U);
  }
  return value;
}

} // namespace tesker
