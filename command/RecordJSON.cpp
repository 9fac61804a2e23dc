#include "command/RecordJSON.h"

#include "command/DisplayText.h"
#include "platform/foundation/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace tesker {

namespace {

using JSON = nlohmann::json;

// ---- writing ----

JSON jsonOf(std::string_view bytes) {
  if (isUtf8(bytes))
    return std::string(bytes);
  std::string hex;
  appendHexadecimal(hex, bytes);
  return JSON::object({{"hex", std::move(hex)}});
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

std::string bytesOfHex(const std::string &hex, const std::string &where) {
  if (hex.size() % 2 != 0)
    fail(where, "\"hex\" has an odd number of digits");
  std::string bytes;
  bytes.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const auto high = digitValue(hex[i], 16);
    const auto low = digitValue(hex[i + 1], 16);
    if (!high || !low)
      fail(where, "\"hex\" holds something other than hexadecimal digits");
    bytes += static_cast<char>(*high << 4 | *low);
  }
  return bytes;
}

std::string bytesOf(const JSON &value, const std::string &where) {
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
  return bytes;
}

using Keys = std::set<std::string>;

void addPair(SearchRecord &record, Keys &keys, const std::string &key, const JSON &value,
             const std::string &where) {
  const std::string whose = where + ", key \"" + displayText(key) + "\"";
  if (!keys.insert(key).second)
    fail(whose, "the key stands there twice");
  record.pairs.emplace_back(key, bytesOf(value, whose));
}

SearchRecord recordOf(const JSON &json, const std::string &where) {
  allowOnly(json, {"pairs", "otherPairs"}, where);
  SearchRecord record;
  Keys keys;
  const JSON &pairs = memberOf(json, "pairs", where);
  if (!pairs.is_object())
    fail(where, "\"pairs\" is not an object");
  for (const auto &[key, value] : pairs.items())
    addPair(record, keys, bytesOf(key, where), value, where);
  if (!json.contains("otherPairs"))
    return record;
  for (const JSON &pair : arrayIn(json, "otherPairs", where)) {
    allowOnly(pair, {"key", "value"}, where);
    addPair(record, keys, bytesOf(memberOf(pair, "key", where), where),
            memberOf(pair, "value", where), where);
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

std::string recordAsJSON(const SearchRecord &record) {
  JSON pairs = JSON::object();
  JSON otherPairs = JSON::array();
  for (const auto &[key, value] : record.pairs)
    if (isUtf8(key))
      pairs[key] = jsonOf(value);
    else
      otherPairs.push_back({{"key", jsonOf(key)}, {"value", jsonOf(value)}});
  JSON json = JSON::object({{"pairs", std::move(pairs)}});
  if (!otherPairs.empty())
    json["otherPairs"] = std::move(otherPairs);
  return json.dump();
}

std::vector<SearchRecord> recordsFromJSON(std::string_view document) {
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
  std::vector<SearchRecord> records;
  std::size_t number = 0;
  for (const JSON &record : arrayIn(result, "records", "the result"))
    records.push_back(recordOf(record, "record " + std::to_string(++number)));
  return records;
}

} // namespace tesker
