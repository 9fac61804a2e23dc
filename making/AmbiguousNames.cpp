#include "making/AmbiguousNames.h"

#include "parsing/WrapperNames.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>

namespace tesker {

namespace {

// What stands in a wrapper beside its program, and is not one.
constexpr std::array<std::string_view, 4> kOtherParts = {kResourcesName, kInfoListName,
                                                         kRegistryName, "services"};

} // namespace

std::string oddityOfWrapperName(std::string_view wrapper) {
  const std::string_view name = wrapper.substr(0, wrapper.rfind('.'));
  if (name.empty())
    return "the name is empty";
  if (name.starts_with('.'))
    return "the name begins with a dot: a search passes it over";
  if (name.find('/') != std::string_view::npos)
    return "the name has a slash in it";
  if (std::ranges::any_of(name, isControl))
    return "the name has control characters in it";
  if (hasWrapperInResources(wrapper))
    return "the name has \"Tesker\" in it: what is in its Resources is read twice";
  if (isNestedWrapperName(name))
    return "the name ends in ." + std::string(suffixOf(name)) +
           " before its suffix: its program is taken for a wrapper inside";
  if (isWrapperSuffix(suffixOf(name)))
    return "the name ends in ." + std::string(suffixOf(name)) +
           " before its suffix, as wrappers do";
  if (std::ranges::find(kOtherParts, name) != kOtherParts.end())
    return "the name is that of another part of a wrapper";
  return {};
}

} // namespace tesker
