#include "platform/foundation/PropertyListDescription.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/Text.h"

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
  out += '<';
  appendHexadecimal(out, bytes);
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
  for (const auto &[key, value] : dictionary) {
    appendString(out, key.bytes());
    out += " = ";
    appendObject(out, *value);
    out += ';';
    out += terminator;
  }
}

void appendObject(std::string &out, const NSObject &object) {
  if (const NSArray *array = object.asArray()) {
    appendArray(out, *array);
  } else if (const NSDictionary *dictionary = object.asDictionary()) {
    out += '{';
    appendPairs(out, *dictionary, ' ');
    out += '}';
  } else if (const NSData *data = object.asData()) {
    appendData(out, data->bytes());
  } else {
    appendString(out, object.description().bytes());
  }
}

} // namespace

NSString propertyListDescription(const NSObject &object) {
  if (const NSString string = object.asString())
    return string;
  std::string text;
  appendObject(text, object);
  return NSString::create(text);
}

NSString descriptionInStringsFileFormat(const NSDictionary &dictionary) {
  std::string text;
  appendPairs(text, dictionary, '\n');
  return NSString::create(text);
}

} // namespace tesker
