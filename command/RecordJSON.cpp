#include "command/RecordJSON.h"

#include "command/DisplayText.h"
#include "command/Utf8.h"

#include <nlohmann/json.hpp>

namespace tesker {

namespace {

using JSON = nlohmann::json;

// ---- writing ----

std::string hexOf(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    hex += digits[static_cast<unsigned char>(byte) >> 4];
    hex += digits[static_cast<unsigned char>(byte) & 0x0F];
  }
  return hex;
}

JSON jsonOf(std::string_view bytes) {
  if (isUtf8(bytes))
    return std::string(bytes);
  return JSON::object({{"hex", hexOf(bytes)}});
}

// ---- reading ----

[[noreturn]] void fail(const std::string &where, const std::string &what) {
  throw JSONError(where.empty() ? what : where + ": " + what);
}

const JSON &memberOf(const JSON &object, const char *name, const std::string &where) {
  if (!object.is_object())
    fail(where, "not an object");
  const auto found = object.find(name);
  if (found == object.end())
    fail(where, std::string("\"") + name + "\" is missing");
  return *found;
}

const JSON &arrayIn(const JSON &object, const char *name, const std::string &where) {
  const JSON &array = memberOf(object, name, where);
  if (!array.is_array())
    fail(where, std::string("\"") + name + "\" is not an array");
  return array;
}

// A misspelt member would lose what it holds, so none but the known ones may stand in an object.
void allowOnly(const JSON &object, std::initializer_list<std::string_view> names,
               const std::string &where) {
  if (!object.is_object())
    fail(where, "not an object");
  for (const auto &[name, value] : object.items())
    if (std::find(names.begin(), names.end(), name) == names.end())
      fail(where, "unknown member \"" + displayText(name) + "\"");
}

unsigned digitOf(char digit, const std::string &where) {
  if (digit >= '0' && digit <= '9')
    return static_cast<unsigned>(digit - '0');
  if (digit >= 'a' && digit <= 'f')
    return static_cast<unsigned>(digit - 'a' + 10);
  if (digit >= 'A' && digit <= 'F')
    return static_cast<unsigned>(digit - 'A' + 10);
  fail(where, "\"hex\" holds something other than hexadecimal digits");
}

std::string bytesOfHex(const std::string &hex, const std::string &where) {
  if (hex.size() % 2 != 0)
    fail(where, "\"hex\" has an odd number of digits");
  std::string bytes;
  bytes.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2)
    bytes += static_cast<char>(digitOf(hex[i], where) << 4 | digitOf(hex[i + 1], where));
  return bytes;
}

Ref<NSString> textOf(const JSON &value, const std::string &where) {
  std::string bytes;
  if (value.is_string()) {
    bytes = value.get<std::string>();
  } else {
    allowOnly(value, {"hex"}, where);
    const JSON &hex = memberOf(value, "hex", where);
    if (!hex.is_string())
      fail(where, "\"hex\" is not a string");
    bytes = bytesOfHex(hex.get<std::string>(), where);
  }
  if (bytes.find('\0') != std::string::npos)
    fail(where, "a NUL inside a key or value cannot be encoded");
  return NSString::create(bytes);
}

void addPair(NSMutableDictionary &record, const NSString &key, const JSON &value,
             const std::string &where) {
  const std::string whose = where + ", key \"" + displayText(key.bytes()) + "\"";
  if (record.objectForKey(key.bytes()))
    fail(whose, "the key stands there twice");
  record.setObjectForKey(textOf(value, whose), key);
}

Ref<NSMutableDictionary> recordOf(const JSON &json, const std::string &where) {
  allowOnly(json, {"pairs", "otherPairs"}, where);
  const Ref<NSMutableDictionary> record = NSMutableDictionary::create();
  const JSON &pairs = memberOf(json, "pairs", where);
  if (!pairs.is_object())
    fail(where, "\"pairs\" is not an object");
  for (const auto &[key, value] : pairs.items())
    addPair(*record, *textOf(key, where), value, where);
  if (!json.contains("otherPairs"))
    return record;
  for (const JSON &pair : arrayIn(json, "otherPairs", where)) {
    allowOnly(pair, {"key", "value"}, where);
    addPair(*record, *textOf(memberOf(pair, "key", where), where), memberOf(pair, "value", where),
            where);
  }
  return record;
}

JSON parsed(std::string_view document) {
  try {
    return JSON::parse(document);
  } catch (const JSON::exception &error) {
    // The library begins every message with its own name in brackets.
    const std::string_view what = error.what();
    const std::size_t bracket = what.find("] ");
    fail("", displayText(bracket == std::string_view::npos ? what : what.substr(bracket + 2)));
  }
}

} // namespace

std::string textAsJSON(std::string_view bytes) { return jsonOf(bytes).dump(); }

std::string recordAsJSON(const NSDictionary &record) {
  JSON pairs = JSON::object();
  JSON otherPairs = JSON::array();
  NSKeyEnumerator keys = record.keyEnumerator();
  while (const RefPtr<NSString> key = keys.nextObject()) {
    JSON value = jsonOf(record.objectForKey(key->bytes())->description()->bytes());
    if (isUtf8(key->bytes()))
      pairs[std::string(key->bytes())] = std::move(value);
    else
      otherPairs.push_back({{"key", jsonOf(key->bytes())}, {"value", std::move(value)}});
  }
  JSON json = JSON::object({{"pairs", std::move(pairs)}});
  if (!otherPairs.empty())
    json["otherPairs"] = std::move(otherPairs);
  return json.dump();
}

Ref<NSMutableArray> recordsFromJSON(std::string_view document) {
  const JSON json = parsed(document);
  const JSON &schema = memberOf(json, "schema", "the document");
  if (schema != kJSONSchema)
    fail("the document", "\"schema\" is not " + std::to_string(kJSONSchema));
  const JSON &results = arrayIn(json, "results", "the document");
  if (results.size() != 1)
    fail("the document", "\"results\" holds " + std::to_string(results.size()) +
                             " results, where one can be encoded");
  const JSON &result = results.front();
  if (result.is_object() && result.contains("unchanged") && result["unchanged"] != false)
    fail("the result", "an unchanged answer has no records to encode");
  const Ref<NSMutableArray> records = NSMutableArray::create();
  std::size_t number = 0;
  for (const JSON &record : arrayIn(result, "records", "the result"))
    records->addObject(recordOf(record, "record " + std::to_string(++number)));
  return records;
}

} // namespace tesker
