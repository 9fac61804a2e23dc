#include "platform/foundation/PropertyListDescription.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

namespace {

// A leading "/" is quoted too: two of them, or one before a "*", would begin a comment.
bool needsQuotes(std::string_view text) {
  return text.empty() || text.front() == '/' ||
         !std::all_of(text.begin(), text.end(), isUnquotedCharacter);
}

// Always three digits, so that a digit after them is not taken for one of them.
void appendOctalEscape(std::string &out, unsigned code) {
  out += '\\';
  for (const unsigned shift : {6U, 3U, 0U})
    out += static_cast<char>('0' + ((code >> shift) & 7U));
}

// Control bytes are escaped so that the description stays one line; bytes above 127 go as they are.
void appendQuoted(std::string &out, std::string_view text) {
  out += '"';
  for (const char byte : text) {
    if (byte == '\n') {
      out += "\\n";
    } else if (isControl(byte)) {
      appendOctalEscape(out, static_cast<unsigned>(byte));
    } else {
      if (byte == '"' || byte == '\\')
        out += '\\';
      out += byte;
    }
  }
  out += '"';
}

void appendString(std::string &out, std::string_view text) {
  if (needsQuotes(text))
    appendQuoted(out, text);
  else
    out += text;
}

void appendData(std::string &out, std::string_view bytes) {
  out += '<';
  appendHexadecimal(out, bytes);
  out += '>';
}

// In which order the pairs of dictionaries are written.
enum class PairOrder { asInserted, byKey };

void appendObject(std::string &out, const NSObject &object, PairOrder order);

void appendArray(std::string &out, const NSArray &array, PairOrder order) {
  out += '(';
  std::string_view separator;
  for (const auto &element : array) {
    out += separator;
    appendObject(out, *element, order);
    separator = ", ";
  }
  out += ')';
}

// Each pair is followed by ";" and the terminator.
void appendPairs(std::string &out, const NSDictionary &dictionary, char terminator,
                 PairOrder order) {
  std::vector<const Pair *> pairs;
  pairs.reserve(dictionary.count());
  for (const Pair &pair : dictionary)
    pairs.push_back(&pair);
  if (order == PairOrder::byKey)
    std::ranges::sort(pairs, {}, [](const Pair *pair) { return pair->key.bytes(); });
  for (const Pair *pair : pairs) {
    appendString(out, pair->key.bytes());
    out += " = ";
    appendObject(out, *pair->value, order);
    out += ';';
    out += terminator;
  }
}

void appendObject(std::string &out, const NSObject &object, PairOrder order) {
  if (const NSArray *array = object.asArray()) {
    appendArray(out, *array, order);
  } else if (const NSDictionary *dictionary = object.asDictionary()) {
    out += '{';
    appendPairs(out, *dictionary, ' ', order);
    out += '}';
  } else if (const NSData *data = object.asData()) {
    appendData(out, data->bytes());
  } else {
    appendString(out, object.description().bytes());
  }
}

NSString descriptionOf(const NSObject &object, PairOrder order) {
  std::string text;
  appendObject(text, object, order);
  return NSString::create(text);
}

// See descriptionOnly.
class DescribedObject final : public NSObject {
public:
  [[nodiscard]] static Ref<NSObject> create(const NSObject &object) {
    return allocate<DescribedObject>(NSDefaultMallocZone(),
                                     descriptionOf(object, PairOrder::asInserted),
                                     descriptionOf(object, PairOrder::byKey));
  }
  std::size_t hash() const override { return identity_.hash(); }
  bool isEqual(const NSObject &other) const override {
    const auto *described = dynamic_cast<const DescribedObject *>(&other);
    return described != nullptr && identity_ == described->identity_;
  }
  NSString description() const override { return description_; }

private:
  friend NSObject;
  DescribedObject(NSString description, const NSString &identity)
      : description_(std::move(description)),
        identity_(description_ == identity ? description_ : identity) {}

  NSString description_;
  NSString identity_; // equal for equal objects: the description with the pairs ordered by key
};

} // namespace

NSString propertyListDescription(const NSObject &object) {
  if (const NSString string = object.asString())
    return string;
  return descriptionOf(object, PairOrder::asInserted);
}

Ref<NSObject> descriptionOnly(const NSObject &object) { return DescribedObject::create(object); }

NSString descriptionInStringsFileFormat(const NSDictionary &dictionary) {
  std::string text;
  appendPairs(text, dictionary, '\n', PairOrder::asInserted);
  return NSString::create(text);
}

} // namespace tesker
