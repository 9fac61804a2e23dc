// The text that objects are described by: one line of property list, or a strings file.

#include "platform/foundation/PropertyList.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/PropertyListCharacters.h"

#include <algorithm>
#include <string>

namespace tesker {

namespace {

// A leading "/" is quoted too: two of them, or one before a "*", would begin a comment.
bool needsQuotes(std::string_view text) {
  return text.empty() || text.front() == '/' ||
         !std::all_of(text.begin(), text.end(), isUnquotedCharacter);
}

bool isControl(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == 0x7F; }

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
  constexpr char kDigits[] = "0123456789abcdef";
  out += '<';
  for (const char byte : bytes) {
    out += kDigits[static_cast<unsigned char>(byte) >> 4];
    out += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  out += '>';
}

void appendObject(std::string &out, const NSObject &object);

void appendArray(std::string &out, const NSArray &array) {
  out += '(';
  std::string_view separator;
  for (const auto &element : array) {
    out += separator;
    appendObject(out, *element);
    separator = ", ";
  }
  out += ')';
}

// Each pair is followed by ";" and the terminator.
void appendPairs(std::string &out, const NSDictionary &dictionary, char terminator) {
  auto keys = dictionary.keyEnumerator();
  while (const auto key = keys.nextObject()) {
    appendString(out, key->bytes());
    out += " = ";
    appendObject(out, *dictionary.objectForKey(key->bytes()));
    out += ';';
    out += terminator;
  }
}

void appendObject(std::string &out, const NSObject &object) {
  if (const auto *string = as<NSString>(&object)) {
    appendString(out, string->bytes());
  } else if (const auto *array = as<NSArray>(&object)) {
    appendArray(out, *array);
  } else if (const auto *dictionary = as<NSDictionary>(&object)) {
    out += '{';
    appendPairs(out, *dictionary, ' ');
    out += '}';
  } else if (const auto *data = as<NSData>(&object)) {
    appendData(out, data->bytes());
  } else {
    appendString(out, object.description()->bytes());
  }
}

} // namespace

Ref<NSString> propertyListDescription(const NSObject &object) {
  if (as<NSString>(&object) != nullptr)
    return object.description();
  std::string text;
  appendObject(text, object);
  return NSString::create(text);
}

Ref<NSString> descriptionInStringsFileFormat(const NSDictionary &dictionary) {
  std::string text;
  appendPairs(text, dictionary, '\n');
  return NSString::create(text);
}

} // namespace tesker
