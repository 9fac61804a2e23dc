#include "command/DefaultSearchPaths.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>

namespace tesker {

namespace {

// Without its trailing slashes; empty when it is not known.
std::string homeDirectory() {
  const char *variable = std::getenv("HOME");
  std::string home = variable == nullptr ? "" : variable;
  if (home.empty())
    if (const auto user =
            OperatingSystem::current().userWithId(OperatingSystem::current().userId()))
      home = user->home.value_or("");
  while (home.ends_with('/'))
    home.pop_back();
  return home;
}

std::string expanded(std::string_view path) {
  if (path == "~" || path.starts_with("~/"))
    return homeDirectory() + std::string(path.substr(1));
  return std::string(path);
}

bool exists(const std::string &path) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) == 0;
}

// Nil when it is not set.
RefPtr<NSObject> applicationPaths(NSUserDefaults &defaults) {
  const Ref<NSMutableArray> names = NSMutableArray::create();
  names->addObject(NSString::create("Tesker"));
  const Ref<NSArray> before = defaults.searchList();
  defaults.setSearchList(*names);
  RefPtr<NSObject> value = defaults.objectForKey("ApplicationPaths");
  defaults.setSearchList(*before);
  return value;
}

} // namespace

std::vector<std::string> defaultSearchPaths(NSUserDefaults &defaults) {
  std::vector<std::string> paths;
  if (const RefPtr<NSObject> setting = applicationPaths(defaults)) {
    if (const auto *path = as<NSString>(setting.get()))
      paths.push_back(expanded(path->bytes()));
    if (const auto *list = as<NSArray>(setting.get()))
      for (const Ref<NSObject> &element : *list)
        if (const auto *path = as<NSString>(&element.get()))
          paths.push_back(expanded(path->bytes()));
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
