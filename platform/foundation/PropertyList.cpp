#include "platform/foundation/PropertyList.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyListDescription.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <optional>
#include <string>

namespace tesker {

namespace {

constexpr unsigned kDeepestNesting = 512;
constexpr unsigned kReplacementCharacter = 0xFFFD;

bool isBlank(char byte) { return (byte >= 9 && byte <= 13) || byte == ' '; }

bool isHighSurrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Reads one text from its start to its end, each byte once. The nesting of values is the depth of
// the recursion, so it is bounded; the place of an error is counted only when there is one.
class PropertyListReader {
public:
  explicit PropertyListReader(std::string_view text, PropertyListPlaces *places = nullptr)
      : text_(text), places_(places) {}

  Ref<NSObject> readWholePropertyList() {
    skipToToken();
    const std::size_t start = place_;
    auto value = readValue();
    note(*value, start, start);
    skipToToken();
    if (!atEnd())
      fail("junk after the value");
    return value;
  }

  Ref<NSDictionary> readWholeStringsFile() {
    auto pairs = NSDictionary::create();
    for (skipToToken(); !atEnd(); skipToToken())
      readPair(*pairs, true);
    return pairs;
  }

private:
  [[noreturn]] void fail(const std::string &what) const {
    throw PropertyListError(what, placeInText(text_, place_));
  }

  void note(const NSObject &value, std::size_t start, std::size_t keyStart) {
    if (places_ != nullptr)
      places_->of[&value] = {start, keyStart};
  }

  bool atEnd() const { return place_ == text_.size(); }
  bool nextIs(std::string_view bytes) const { return text_.substr(place_).starts_with(bytes); }
  bool skip(char byte) {
    if (atEnd() || text_[place_] != byte)
      return false;
    ++place_;
    return true;
  }

  // Passes over blanks and comments.
  void skipToToken() {
    for (;;) {
      while (!atEnd() && isBlank(text_[place_]))
        ++place_;
      if (!nextIs("/")) // in one look, for most tokens have no comment before them
        return;
      if (nextIs("//"))
        place_ = std::min(text_.find('\n', place_), text_.size());
      else if (nextIs("/*"))
        skipLongComment();
      else
        return;
    }
  }

  void skipLongComment() {
    const std::size_t end = text_.find("*/", place_ + 2);
    if (end == std::string_view::npos)
      fail("comment without an end");
    place_ = end + 2;
  }

  // Like the other readers of a token, begins at its first byte and ends behind its last one.
  Ref<NSObject> readValue() {
    if (skip('('))
      return readNested([this] { return readArray(); });
    if (skip('{'))
      return readNested([this] { return readDictionary(); });
    if (skip('<'))
      return readData();
    return readString("a value").object().toRef();
  }

  template <class Read> Ref<NSObject> readNested(Read read) {
    if (nesting_ == kDeepestNesting)
      fail("nesting too deep");
    ++nesting_;
    auto value = read();
    --nesting_;
    return value;
  }

  Ref<NSObject> readArray() {
    auto array = NSArray::create();
    for (;;) {
      skipToToken();
      if (skip(')'))
        return array;
      const std::size_t start = place_;
      auto value = readValue();
      note(*value, start, start);
      array->addObject(std::move(value));
      skipToToken();
      if (!skip(',') && !nextIs(")"))
        fail("expected \",\" or \")\" in an array");
    }
  }

  Ref<NSObject> readDictionary() {
    auto dictionary = NSDictionary::create();
    for (;;) {
      skipToToken();
      if (skip('}'))
        return dictionary;
      readPair(*dictionary, false);
    }
  }

  // "key = value;", and where that is allowed "key;", whose value equals the key.
  void readPair(NSDictionary &pairs, bool keyAlone) {
    const std::size_t start = place_;
    std::size_t valueStart = start;
    const NSString key = readString("a key");
    auto value = key.object();
    skipToToken();
    if (skip('=')) {
      skipToToken();
      valueStart = place_;
      value = readValue();
      skipToToken();
    } else if (!keyAlone) {
      fail("expected \"=\" after a key");
    }
    if (!skip(';'))
      fail("expected \";\" after a pair");
    if (places_ != nullptr)
      if (const NSObject *replaced = pairs.objectForKey(key.bytes()))
        places_->repeatedKeys.push_back(places_->of.at(replaced).key);
    note(*value, valueStart, start);
    pairs.setObjectForKey(std::move(value), key);
  }

  Ref<NSObject> readData() {
    std::string bytes;
    std::optional<unsigned> half;
    for (; !skip('>'); ++place_) {
      if (atEnd())
        fail("data without an end");
      const char byte = text_[place_];
      const auto digit = digitValue(byte, 16);
      if (!digit && !isBlank(byte))
        fail("expected a hexadecimal digit in data");
      if (!digit)
        continue;
      if (half)
        bytes += static_cast<char>(*half * 16 + *digit);
      half = half ? std::nullopt : digit;
    }
    if (half)
      fail("odd number of digits in data");
    return NSData::create(bytes);
  }

  NSString readString(std::string_view wanted) {
    if (skip('"'))
      return readQuotedString();
    const std::size_t start = place_;
    while (!atEnd() && isUnquotedCharacter(text_[place_]))
      ++place_;
    if (place_ == start)
      fail("expected " + std::string(wanted));
    return NSString::create(text_.substr(start, place_ - start));
  }

  NSString readQuotedString() {
    std::string bytes;
    while (!skip('"')) {
      if (skip('\\')) {
        readEscape(bytes);
        continue;
      }
      const std::size_t end = std::min(text_.find_first_of("\"\\", place_), text_.size());
      bytes += text_.substr(place_, end - place_);
      place_ = end;
      if (atEnd())
        fail("string without an end");
    }
    return NSString::create(bytes);
  }

  void readEscape(std::string &bytes) {
    if (atEnd())
      fail("string without an end");
    if (digitValue(text_[place_], 8)) {
      appendUtf8(bytes, readDigits(3, 8) % 256);
      return;
    }
    const char escaped = text_[place_++];
    if (escaped == 'U' && !atEnd() && digitValue(text_[place_], 16)) {
      readUnicodeEscape(bytes);
      return;
    }
    constexpr std::string_view kNames = "abfnrtv";
    constexpr std::string_view kBytes = "\a\b\f\n\r\t\v";
    const std::size_t known = kNames.find(escaped);
    bytes += known == std::string_view::npos ? escaped : kBytes[known];
  }

  // Behind "\U", before its first digit. A unit that has to wait for its other half is looked
  // ahead for, and read again by itself when the two make no pair.
  void readUnicodeEscape(std::string &bytes) {
    unsigned character = readDigits(4, 16);
    if (isHighSurrogate(character) && nextIs("\\U")) {
      const std::size_t next = place_;
      place_ += 2;
      const unsigned unit = readDigits(4, 16);
      if (isLowSurrogate(unit))
        character = 0x10000 + ((character - 0xD800) << 10) + (unit - 0xDC00);
      else
        place_ = next;
    }
    const bool lone = isHighSurrogate(character) || isLowSurrogate(character);
    appendUtf8(bytes, lone ? kReplacementCharacter : character);
  }

  // The number that the following digits make, at most so many of them; 0 when there is none.
  unsigned readDigits(unsigned most, unsigned base) {
    unsigned number = 0;
    for (; most > 0 && !atEnd(); --most, ++place_) {
      const auto digit = digitValue(text_[place_], base);
      if (!digit)
        break;
      number = number * base + *digit;
    }
    return number;
  }

  std::string_view text_;
  PropertyListPlaces *places_;
  std::size_t place_ = 0;
  unsigned nesting_ = 0;
};

} // namespace

TextPlace placeInText(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
  const std::size_t lineFeed = before.rfind('\n');
  return {line, lineFeed == std::string_view::npos ? offset + 1 : offset - lineFeed};
}

PropertyListError::PropertyListError(const std::string &what, TextPlace where)
    : NSException(NSParseErrorException, what + " at line " + std::to_string(where.line) +
                                             ", column " + std::to_string(where.column)),
      expected_(what), where_(where) {}

Ref<NSObject> propertyList(std::string_view text, PropertyListPlaces *places) {
  return PropertyListReader(text, places).readWholePropertyList();
}

Ref<NSDictionary> propertyListFromStringsFileFormat(std::string_view text) {
  return PropertyListReader(text).readWholeStringsFile();
}

RefPtr<const NSDictionary> dictionaryWithContentsOfFile(const NSString &path) {
  const Result<std::string> text = contentsOfFile(path, kLargestPropertyListFile);
  if (!text)
    return nullptr;
  const auto value = propertyList(*text);
  return RefPtr(value->asDictionary());
}

} // namespace tesker
