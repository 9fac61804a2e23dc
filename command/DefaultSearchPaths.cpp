#include "command/DefaultSearchPaths.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>

namespace tesker {

namespace {

// "~" is the home directory without its trailing slashes; nothing when that is not known.
std::string expanded(std::string_view path) {
  if (path != "~" && !path.starts_with("~/"))
    return std::string(path);
  std::string home = homeDirectory().value_or("");
  while (home.ends_with('/'))
    home.pop_back();
  return home + std::string(path.substr(1));
}

bool exists(const std::string &path) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) == 0;
}

// Lent by the defaults; nil when it is not set.
const NSObject *applicationPaths(NSUserDefaults &defaults) {
  std::vector<NSString> before = defaults.searchList();
  defaults.setSearchList({"Tesker"_ns});
  const NSObject *setting = defaults.objectForKey("ApplicationPaths");
  defaults.setSearchList(std::move(before));
  return setting;
}

void appendPath(std::vector<std::string> &paths, const NSString &path) {
  if (path)
    paths.push_back(expanded(path.bytes()));
}

} // namespace

std::vector<std::string> defaultSearchPaths(NSUserDefaults &defaults) {
  std::vector<std::string> paths;
  if (const NSObject *setting = applicationPaths(defaults)) {
    appendPath(paths, setting->asString());
    if (const NSArray *list = setting->asArray())
      for (const auto &element : *list)
        appendPath(paths, element->asString());
    return paths;
  }
  for (const char *usual : {"~/Applications", "/usr/local/Applications", "/Applications"}) {
    const std::string path = expanded(usual);
    // Where the root is somebody's home, the first is the last.
    if (exists(path) && std::find(paths.begin(), paths.end(), path) == paths.end())
      paths.push_back(path);
  }
  return paths;
}

} // namespace tesker
