#include "command/SearchPath.h"

#include "command/DesktopPlaces.h"
#include "command/DisplayText.h"
#include "command/SettingsFiles.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr const char *kDomain = "Tesker";
constexpr const char *kApplicationPaths = "ApplicationPaths";

using CString = std::unique_ptr<char, decltype(&std::free)>;

bool holdsParent(std::string_view path) {
  const std::vector<std::string_view> components = piecesOf(path, '/');
  return std::find(components.begin(), components.end(), "..") != components.end();
}

// The length of the part up to and with the last "..", which is a component of the path.
std::size_t lengthToLastParent(std::string_view path) {
  const std::string bounded = "/" + std::string(path) + "/";
  return bounded.rfind("/../") + 2;
}

std::string withoutLeadingDots(std::string_view path) {
  while (path == "." || path.starts_with("./")) {
    path.remove_prefix(1);
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  }
  return std::string(path);
}

std::string joined(std::string directory, std::string_view rest) {
  while (rest.starts_with('/'))
    rest.remove_prefix(1);
  if (!rest.empty() && !directory.ends_with('/'))
    directory += '/';
  return directory + std::string(rest);
}

std::optional<std::string> errorText(int error) { return std::strerror(error); }

std::optional<std::string> whyNotListed(const std::string &path) {
  if (::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) != 0)
    return errorText(errno);
  const FileDescriptor directory(
      OperatingSystem::current().open(path.c_str(), O_RDONLY | O_DIRECTORY));
  if (!directory)
    return errorText(errno);
  return std::nullopt;
}

std::optional<std::string> whyNotExamined(const std::string &path, const struct stat &status) {
  const bool executable = (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
  if (S_ISDIR(status.st_mode))
    return executable ? whyNotListed(path) : "a directory that nobody may search";
  if (!S_ISREG(status.st_mode) || !executable)
    return "neither a directory nor an executable file";
  if (::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0)
    return errorText(errno);
  return std::nullopt;
}

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
  defaults.setSearchList({NSString::create(kDomain)});
  const NSObject *setting = defaults.objectForKey(kApplicationPaths);
  defaults.setSearchList(std::move(before));
  return setting;
}

// Which of the paths that are set do not count.
bool checkApplicationPaths(const NSDictionary &settings, const ComplainOfSetting &complain) {
  const NSObject *setting = settings.objectForKey(kApplicationPaths);
  if (setting == nullptr)
    return true; // another file may have it
  if (const NSArray *list = setting->asArray()) {
    for (const auto &element : *list)
      if (!element->asString())
        complain(*element, "this element of ApplicationPaths is not a string; it is ignored");
  } else if (!setting->asString()) {
    complain(*setting,
             "ApplicationPaths is neither a string nor an array of strings; it is ignored");
  }
  return false;
}

void appendPath(std::vector<std::string> &paths, const NSString &path) {
  if (path)
    paths.push_back(expanded(path.bytes()));
}

} // namespace

std::string absoluteSearchPath(std::string_view path) {
  if (path.empty() || path.starts_with('/'))
    return std::string(path);
  const CString workingDirectory(::getcwd(nullptr, 0), &std::free);
  // A working directory that was removed, or lies outside what can be reached, has no path.
  if (workingDirectory == nullptr || workingDirectory.get()[0] != '/')
    return std::string(path);
  const std::string whole = joined(workingDirectory.get(), withoutLeadingDots(path));
  if (!holdsParent(path))
    return whole;
  const std::size_t length = lengthToLastParent(whole);
  const CString directory(::realpath(whole.substr(0, length).c_str(), nullptr), &std::free);
  return directory == nullptr ? whole : joined(directory.get(), whole.substr(length));
}

std::string tidied(std::string_view path) {
  std::string tidy;
  for (const std::string_view component : piecesOf(path, '/'))
    if (!component.empty() && component != ".")
      tidy += "/" + std::string(component);
  return tidy;
}

std::string_view directoryOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

std::optional<std::string> whyNotSearchable(const std::string &path) {
  if (path.empty())
    return "an empty path";
  struct stat status {};
  const bool missing = OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) != 0;
  const int error = errno;
  if (path.front() != '/')
    return missing ? errorText(error) : "not an absolute path";
  // The first reason is the one that a person can act on.
  if (holdsParent(path))
    return missing ? errorText(error) : "holds \"..\", which is not followed in absolute paths";
  const std::string tidy = tidied(path);
  if (tidy.empty())
    return "the root itself is never searched; name directories in it";
  if (missing)
    return errorText(error);
  // The tool joins paths in buffers of that size.
  if (tidy.size() >= kPathBufferSize)
    return "longer than " + std::to_string(kPathBufferSize - 1) + " bytes";
  return whyNotExamined(path, status);
}

std::vector<std::string> piecesOfPathList(std::string_view list) {
  const std::vector<std::string_view> pieces = piecesOf(list, '\0');
  return {pieces.begin(), pieces.back().empty() ? pieces.end() - 1 : pieces.end()};
}

std::vector<std::string> possibleSearchPaths(NSUserDefaults &defaults) {
  std::vector<std::string> paths;
  if (const NSObject *setting = applicationPaths(defaults)) {
    appendPath(paths, setting->asString());
    if (const NSArray *list = setting->asArray())
      for (const auto &element : *list)
        appendPath(paths, element->asString());
    return paths;
  }
  std::vector<std::string> usual{expanded("~/Applications"), "/usr/local/Applications",
                                 "/Applications"};
  if (const std::optional<std::string> imported = importedApplicationsDirectory())
    usual.push_back(*imported);
  for (const std::string &path : usual)
    // Where the root is somebody's home, the first is the third.
    if (std::find(paths.begin(), paths.end(), path) == paths.end())
      paths.push_back(path);
  return paths;
}

std::vector<std::string> defaultSearchPaths(NSUserDefaults &defaults) {
  std::vector<std::string> paths = possibleSearchPaths(defaults);
  if (applicationPaths(defaults) == nullptr)
    std::erase_if(paths, [](const std::string &path) { return !exists(path); });
  return paths;
}

std::vector<std::string> problemsOfDefaultSearchPaths() {
  return problemsOfSettings(kDomain, checkApplicationPaths);
}

std::string fileOfDefaultSearchPaths() {
  const NSString file = userDefaultsFile(kDomain);
  return file ? displayText(file.bytes()) : "";
}

} // namespace tesker
