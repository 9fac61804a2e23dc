#include "parsing/RecordDecoding.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tesker {

namespace {

// What each byte stands for as a digit of the form in which numbers are written; kNoDigit for
// others.
constexpr std::uint8_t kNoDigit = 16;
constexpr auto kDigits = [] {
  std::array<std::uint8_t, 256> digits;
  digits.fill(kNoDigit);
  for (std::uint8_t value = 0; value < kNoDigit; ++value)
    digits[static_cast<unsigned char>("0123456789abcdef"[value])] = value;
  return digits;
}();

// The strings at the beginning of the array that the property list holds.
std::vector<NSString> tokensOf(std::string_view list) {
  const auto value = propertyList(list);
  const NSArray *array = value->asArray();
  if (array == nullptr)
    throw NSException(NSInvalidArgumentException, "the last piece is not a list");
  std::vector<NSString> tokens;
  for (const auto &element : *array) {
    NSString token = element->asString();
    if (!token) // what wants that number finds none
      break;
    tokens.push_back(std::move(token));
  }
  return tokens;
}

// The last piece of the text begins here; 0 where there is no other.
std::size_t startOfList(std::string_view text) {
  const void *nul = ::memrchr(text.data(), '\0', text.size());
  return nul == nullptr
             ? 0
             : static_cast<std::size_t>(static_cast<const char *>(nul) - text.data()) + 1;
}

} // namespace

PoolTexts::PoolTexts(std::string_view pool) : pool_(pool) {
  for (std::size_t start = 0; start < pool.size(); start = pool.find('\0', start) + 1) {
    if (count_++ % kStride == 0)
      starts_.push_back(static_cast<std::uint32_t>(start));
  }
  strings_.resize((count_ + kBlock - 1) / kBlock);
}

const NSString &PoolTexts::make(std::size_t index) {
  std::unique_ptr<Block> &block = strings_[index / kBlock];
  if (!block)
    block = std::make_unique<Block>();
  return (*block)[index % kBlock] = NSString::create(pieceAt(index));
}

std::string_view PoolTexts::pieceAt(std::size_t index) {
  std::size_t start = following_.start;
  if (index != following_.index) {
    start = starts_[index / kStride];
    for (std::size_t i = index % kStride; i > 0; --i)
      start = pool_.find('\0', start) + 1;
  }
  const std::size_t end = pool_.find('\0', start);
  following_ = {index + 1, end + 1};
  return pool_.substr(start, end - start);
}

IndexNumbers::IndexNumbers(std::string_view list) : list_(list), plain_(list) {
  if (list.size() < 3 || list.front() != '(' || list.back() != ')')
    rewrite();
  rewind();
}

void IndexNumbers::rewind() {
  rest_ = plain_.substr(1);
  taken_ = 0;
}

std::uint32_t IndexNumbers::next() {
  if (rest_.empty())
    throw NSException(NSRangeException, "the index list ends too early");
  const char *at = rest_.data(); // the list's end stops it at the latest
  std::uint32_t number = 0;
  for (std::uint32_t digit; (digit = kDigits[static_cast<unsigned char>(*at)]) != kNoDigit; ++at)
    number = number * 16 + digit;
  const auto length = static_cast<std::size_t>(at - rest_.data());
  const bool isLast = length + 1 == rest_.size();
  if (length == 0 || *at != (isLast ? ')' : ','))
    return nextOfAnotherForm();
  rest_.remove_prefix(length + 1);
  ++taken_;
  return number;
}

void IndexNumbers::checkRest() {
  while (!rest_.empty())
    (void)next();
}

std::uint32_t IndexNumbers::nextOfAnotherForm() {
  const std::size_t taken = taken_;
  rewrite();
  rewind();
  while (taken_ < taken)
    (void)next();
  return next();
}

void IndexNumbers::rewrite() {
  if (list_.size() > kLargestForeignList)
    throw NSException(NSInvalidArgumentException, "the last piece is not written as lists are");
  rewritten_.assign(1, '(');
  for (const NSString &token : tokensOf(list_)) {
    appendHexadecimal(rewritten_, std::uint64_t{decodeHexInt(token.bytes())});
    rewritten_.push_back(',');
  }
  if (rewritten_.size() > 1)
    rewritten_.back() = ')';
  plain_ = rewritten_;
}

NSString IndexNumbers::tokenAt(std::size_t place) const {
  if (plain_.data() != list_.data())
    return tokensOf(list_)[place];
  std::string_view rest = list_.substr(1);
  for (; place > 0; --place)
    rest.remove_prefix(rest.find(',') + 1);
  return NSString::create(rest.substr(0, rest.find_first_of(",)")));
}

RecordReader::RecordReader(std::string_view text, NSZone &zone)
    : zone_(zone), numbers_(text.substr(startOfList(text))),
      texts_(text.substr(0, startOfList(text))), count_(numbers_.next()) {}

std::optional<TKLine> RecordReader::next() {
  if (read_ == count_) {
    numbers_.checkRest();
    return std::nullopt;
  }
  ++read_;
  const std::uint32_t pairs = numbers_.next();
  // The announced number is not a reason to allocate: each pair takes two of the numbers left.
  TKLine record = TKLine::create(std::min<std::size_t>(pairs, numbers_.most() / 2), zone_);
  for (std::uint32_t pair = 0; pair < pairs; ++pair) {
    const auto [key, value] = nextPair();
    record.set(texts_.at(key), texts_.at(value));
  }
  return record;
}

void RecordReader::check() {
  for (; read_ < count_; ++read_)
    for (std::uint32_t pairs = numbers_.next(); pairs > 0; --pairs)
      (void)nextPair();
  numbers_.checkRest();
  numbers_.rewind();
  (void)numbers_.next();
  read_ = 0;
}

// Both indexes are read before either is tested.
RecordReader::IndexPair RecordReader::nextPair() {
  const std::uint32_t key = numbers_.next();
  const std::uint32_t value = numbers_.next();
  if (key >= texts_.count())
    refuse(numbers_.taken() - 2, key);
  if (value >= texts_.count())
    refuse(numbers_.taken() - 1, value);
  return {key, value};
}

void RecordReader::refuse(std::size_t place, std::uint32_t number) {
  numbers_.checkRest(); // what is not a list at all is refused without a line
  syslogError("==== Applications Finder: '%s' yielded %d",
              {numbers_.tokenAt(place).bytes(), std::to_string(static_cast<std::int32_t>(number))});
  throw NSException(NSGenericException, "an index leaves the pool");
}

std::optional<Records> decodeParsedApp(const NSString &text, NSZone &zone) {
  Records records;
  if (text.length() == 0)
    return records;
  try {
    RecordReader reader(text.bytes(), zone);
    // Announced only: a record takes one number at least.
    records.reserve(std::min<std::size_t>(reader.count(), text.length() / 2));
    while (std::optional<TKLine> record = reader.next())
      records.push_back(std::move(*record));
    return records;
  } catch (const NSException &) {
    return std::nullopt;
  }
}

std::uint32_t decodeHexInt(std::string_view digits) {
  std::uint32_t value = 0;
  for (const char digit : digits) {
    const std::uint32_t byte = static_cast<unsigned char>(digit);
    value = value * 16 + (byte >= '0' && byte <= '9' ? byte - '0' : byte - 87U);
  }
  return value;
}

} // namespace tesker
