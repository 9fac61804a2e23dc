#include "making/WrapperNames.h"

#include "filesystem/TextFunctions.h"
#include "parsing/AppWrapperParser.h"

#include <algorithm>
#include <array>

namespace tesker {

namespace {

bool isAmong(std::string_view word, const auto &words) {
  return std::ranges::find(words, word) != std::end(words);
}

bool isControl(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f'; }

// What stands in a wrapper beside its program, and is not one.
constexpr std::array<std::string_view, 4> kOtherParts = {kResourcesName, kInfoListName,
                                                         kRegistryName, "services"};

} // namespace

std::string oddityOfWrapperName(std::string_view wrapper) {
  const std::string_view name = wrapper.substr(0, wrapper.rfind('.'));
  const std::string_view suffix = suffixOf(name);
  if (name.empty())
    return "the name is empty";
  if (name.starts_with('.'))
    return "the name begins with a dot: a search passes it over";
  if (name.find('/') != std::string_view::npos)
    return "the name has a slash in it";
  if (std::ranges::any_of(name, isControl))
    return "the name has control characters in it";
  if (wrapper.find("Tesker") != std::string_view::npos)
    return "the name has \"Tesker\" in it: what is in its Resources is read twice";
  if (isAmong(suffix, kWrapperSuffixes) || isAmong(suffix, kNestedSuffixes))
    return "the name ends in ." + std::string(suffix) +
           " before its suffix: its program is taken for a wrapper, too";
  if (isAmong(name, kOtherParts))
    return "the name is that of another part of a wrapper";
  return {};
}

} // namespace tesker
