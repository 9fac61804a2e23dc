#include "fuzz/ListMutator.h"

#include "platform/foundation/PropertyListDescription.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::string_view, 12> kValues = {
    "()",     "{}",  "<>",          "<00ff>",      "\"\"",    "a",
    "(a, b)", "{;}", "{a = \"\";}", "\"\\U20ac\"", "\"(0)\"", "/a.b"};
constexpr std::array<std::string_view, 13> kEscapes = {
    "\\n",     "\\\"",    "\\\\",           "\\0", "\\377", "\\777", "\\U41", "\\Ud800",
    "\\Udc00", "\\uffff", "\\Ud83d\\Ude00", "\\U", "\\x"};
constexpr std::array<std::string_view, 7> kBetween = {" ",    "\n", "\t//a\n", "/*a*/",
                                                      "/**/", "/*", "//"};

// Behind the quoted string that begins there.
std::size_t endOfQuoted(std::string_view list, std::size_t start) {
  for (std::size_t i = start + 1; i < list.size(); ++i)
    if (list[i] == '\\')
      ++i;
    else if (list[i] == '"')
      return i + 1;
  return list.size();
}

std::size_t endOfWord(std::string_view list, std::size_t start) {
  const auto *end = std::find_if_not(list.begin() + start, list.end(), tesker::isUnquotedCharacter);
  return static_cast<std::size_t>(end - list.begin());
}

} // namespace

// In the order of their ends. What stands in a comment counts, too.
std::vector<ListMutator::Place> ListMutator::valuesOf(std::string_view list) {
  std::vector<Place> values;
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < list.size();) {
    const std::size_t start = i++;
    const char byte = list[start];
    if (byte == '(' || byte == '{') {
      open.push_back(start);
    } else if (byte == ')' || byte == '}') {
      if (!open.empty()) {
        values.push_back({open.back(), i});
        open.pop_back();
      }
    } else if (byte == '"' || byte == '<' || tesker::isUnquotedCharacter(byte)) {
      i = byte == '"'   ? endOfQuoted(list, start)
          : byte == '<' ? std::min(list.find('>', start), list.size() - 1) + 1
                        : endOfWord(list, start);
      values.push_back({start, i});
    }
  }
  return values;
}

// The value up to what separates it from the next one; of a key's, the whole pair.
ListMutator::Place ListMutator::elementAt(std::string_view list, Place value) {
  int depth = 0;
  for (std::size_t i = value.end; i < list.size(); ++i) {
    const char byte = list[i];
    depth += byte == '(' || byte == '{' ? 1 : byte == ')' || byte == '}' ? -1 : 0;
    if (depth < 0)
      return {value.start, i};
    if (depth == 0 && (byte == ',' || byte == ';'))
      return {value.start, i + 1};
  }
  return {value.start, list.size()};
}

// Inside of so many containers, now and then near the most that a reader takes.
std::string ListMutator::nested(std::string_view value) {
  const std::size_t depth = pick(16) == 0 ? 508 + pick(8) : 1 + pick(3);
  const bool inArrays = pick(2) == 0;
  std::string text;
  for (std::size_t i = 0; i < depth; ++i)
    text += inArrays ? "(" : "{a=";
  text += value;
  for (std::size_t i = 0; i < depth; ++i)
    text += inArrays ? ")" : ";}";
  return text;
}

// Quotes are put around it, or taken away; inside there may be an escape.
std::string ListMutator::quoted(std::string_view value) {
  std::string text(value);
  if (text.size() < 2 || !text.starts_with('"'))
    text = '"' + text + '"';
  else if (pick(4) == 0)
    return text.substr(1, text.size() - 2);
  return text.insert(1 + pick(text.size() - 1), kEscapes[pick(kEscapes.size())]);
}

std::string ListMutator::otherWriting(std::string_view value) {
  switch (pick(5)) {
  case 0:
    return nested(value);
  case 1:
    return quoted(value);
  case 2:
    return std::string(kBetween[pick(kBetween.size())]) + std::string(value);
  case 3: // of an array's brackets a dictionary's, and the other way round
    if (value.starts_with('('))
      return "{" + std::string(value.substr(1, value.size() - 2)) + ";}";
    if (value.starts_with('{'))
      return "(" + std::string(value.substr(1, value.size() - 2)) + ")";
    [[fallthrough]];
  default:
    return std::string(kValues[pick(kValues.size())]);
  }
}

std::string ListMutator::mutated(std::string_view list) {
  std::string text(list);
  const std::vector<Place> values = valuesOf(list);
  if (values.empty())
    return text.append(kValues[pick(kValues.size())]);
  const Place one = values[pick(values.size())], other = values[pick(values.size())];
  const Place element = elementAt(list, one);
  const std::string elementText = text.substr(element.start, element.length());
  switch (pick(6)) {
  case 0: // taken away
    return text.erase(element.start, element.length());
  case 1: // there twice
    return text.insert(element.end, elementText);
  case 2: // somewhere else as well
    return text.insert(other.start, elementText + (pick(2) == 0 ? "" : ","));
  case 3: { // one in the other's place, and the other in its place unless one holds the other
    const auto [first, second] =
        std::minmax(one, other, [](Place a, Place b) { return a.start < b.start; });
    const std::string former = text.substr(first.start, first.length());
    const std::string latter = text.substr(second.start, second.length());
    text.replace(second.start, second.length(), former);
    return second.start < first.end ? text : text.replace(first.start, first.length(), latter);
  }
  default:
    return text.replace(one.start, one.length(),
                        otherWriting(list.substr(one.start, one.length())));
  }
}
