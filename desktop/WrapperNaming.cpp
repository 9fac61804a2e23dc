#include "desktop/WrapperNaming.h"

#include "making/AmbiguousNames.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <set>

namespace tesker {

namespace {

// A file's name has 255 bytes at most; ".app" and an id's number have to fit as well.
constexpr std::size_t kLongestName = 200;

void shorten(std::string &name, std::size_t size) {
  if (name.size() <= size)
    return;
  name.resize(size);
  // Not in the middle of a character.
  while (!name.empty() && !isUtf8(name) && name.size() + 4 > size)
    name.pop_back();
}

std::string_view withoutSuffix(std::string_view id) {
  return id.ends_with(".desktop") ? id.substr(0, id.size() - 8) : id;
}

std::string withId(const std::string &name, const DesktopEntry &entry) {
  const std::string id = plainWrapperName(std::string(withoutSuffix(entry.id)));
  std::string beginning = name;
  shorten(beginning, kLongestName / 2);
  return plainWrapperName(beginning + " (" + id + ")");
}

std::string nameOf(const DesktopEntry &entry) {
  std::string name = plainWrapperName(entry.name);
  if (name.empty())
    name = plainWrapperName(std::string(withoutSuffix(entry.id)));
  return name.empty() ? "application" : name;
}

} // namespace

std::string plainWrapperName(const std::string &text) {
  std::string name = text.substr(std::min(text.find_first_not_of('.'), text.size()));
  std::ranges::replace(name, '/', '-');
  std::ranges::replace_if(name, isControl, ' ');
  shorten(name, kLongestName);
  for (std::size_t at = name.find("Tesker"); at != std::string::npos; at = name.find("Tesker"))
    name[at] = 't';
  if (const std::size_t dot = name.rfind('.');
      dot != std::string::npos && !oddityOfWrapperName(name + ".app").empty())
    name[dot] = '-'; // it ended like a wrapper itself
  if (!name.empty() && !oddityOfWrapperName(name + ".app").empty())
    name += " (application)"; // it was that of a part of a wrapper
  return name;
}

std::map<std::string, std::string> wrapperNames(const std::vector<DesktopApplication> &applications,
                                                const IsFree &isFree) {
  std::map<std::string, std::size_t> count;
  for (const DesktopApplication &application : applications)
    ++count[nameOf(application.entry)];
  std::map<std::string, std::string> names;
  std::set<std::string> taken;
  for (const auto &[name, times] : count)
    if (times == 1 && isFree(name))
      taken.insert(name);
  for (const DesktopApplication &application : applications) {
    const DesktopEntry &entry = application.entry;
    std::string name = nameOf(entry);
    if (!taken.contains(name)) {
      const std::string unique = withId(name, entry);
      name = unique;
      for (int number = 2; !isFree(name) || !taken.insert(name).second; ++number)
        name = unique + " " + std::to_string(number);
    }
    names.emplace(entry.id, name);
  }
  return names;
}

} // namespace tesker
