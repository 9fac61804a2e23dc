#include "platform/foundation/NSUserDefaults.h"

#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

namespace tesker {

namespace {

bool isAbsolute(std::string_view path) { return path.starts_with('/'); }

// The variable's value, or nothing when it is unset or empty.
std::optional<std::string> environmentValue(const char *variable) {
  const char *value = std::getenv(variable);
  if (value == nullptr || *value == '\0')
    return std::nullopt;
  return value;
}

std::optional<std::string> homeDirectory() {
  if (auto home = environmentValue("HOME"))
    return home;
  OperatingSystem &system = OperatingSystem::current();
  const auto user = system.userWithId(system.userId());
  return user ? user->home : std::nullopt;
}

std::optional<std::string> userConfigurationDirectory() {
  auto given = environmentValue("XDG_CONFIG_HOME");
  if (given && isAbsolute(*given))
    return given;
  const auto home = homeDirectory();
  if (!home || !isAbsolute(*home))
    return std::nullopt;
  return *home + "/.config";
}

// The most important one first.
std::vector<std::string> configurationDirectories() {
  std::vector<std::string> directories;
  if (auto own = userConfigurationDirectory())
    directories.push_back(std::move(*own));
  const std::string system = environmentValue("XDG_CONFIG_DIRS").value_or("/etc/xdg");
  const auto names = NSString::create(system)->componentsSeparatedByString(":");
  for (const auto &name : *names) {
    const std::string_view directory = as<NSString>(&*name)->bytes();
    if (isAbsolute(directory))
      directories.emplace_back(directory);
  }
  return directories;
}

// The pairs of one file, or nil.
RefPtr<NSDictionary> readDomainFile(const NSString &path) {
  const auto text = contentsOfFile(path, kLargestPropertyListFile);
  if (!text)
    return nullptr;
  std::string problem = "it holds no dictionary";
  try {
    if (auto pairs = as<NSDictionary>(propertyList(*text)))
      return pairs;
  } catch (const NSException &exception) {
    problem = exception.reason();
  }
  syslogError("Ignoring defaults file %s: %@", {path.bytes(), problem});
  return nullptr;
}

Ref<NSMutableDictionary> readDomain(std::string_view name) {
  const std::string file = "tesker/defaults/" + std::string(name) + ".plist";
  auto domain = NSMutableDictionary::create();
  auto directories = configurationDirectories();
  // The least important first, so that the others replace what it says.
  std::reverse(directories.begin(), directories.end());
  for (const std::string &directory : directories)
    if (const auto pairs =
            readDomainFile(*NSString::create(directory)->stringByAppendingPathComponent(file)))
      domain->addEntriesFromDictionary(*pairs);
  return domain;
}

Ref<NSArray> initialSearchList() {
  const std::string program = OperatingSystem::current().programPath().value_or("");
  auto names = NSMutableArray::create();
  names->addObject(NSString::create(program.substr(program.rfind('/') + 1)));
  names->addObject(NSString::create(NSGlobalDomain));
  names->addObject(NSString::create(NSRegistrationDomain));
  return names;
}

} // namespace

NSUserDefaults &NSUserDefaults::standardUserDefaults() {
  static NSUserDefaults &standard = *create().leak();
  return standard;
}

Ref<NSUserDefaults> NSUserDefaults::create() {
  return allocate<NSUserDefaults>(NSDefaultMallocZone());
}

NSUserDefaults::NSUserDefaults() : searchList_(initialSearchList()) {
  domains_.emplace(NSRegistrationDomain, NSMutableDictionary::create());
}

void NSUserDefaults::registerDefaults(const NSDictionary &defaults) {
  domain(NSRegistrationDomain).addEntriesFromDictionary(defaults);
}

void NSUserDefaults::setVolatileDomain(const NSDictionary &pairs, std::string_view name) {
  domains_.insert_or_assign(std::string(name), NSMutableDictionary::copyOf(pairs));
}

RefPtr<NSObject> NSUserDefaults::objectForKey(std::string_view key) {
  for (const auto &name : *searchList_) {
    const auto *string = as<NSString>(&*name);
    if (string == nullptr)
      continue;
    if (auto value = domain(string->bytes()).objectForKey(key))
      return value;
  }
  return nullptr;
}

RefPtr<NSString> NSUserDefaults::stringForKey(std::string_view key) {
  return as<NSString>(objectForKey(key));
}

NSMutableDictionary &NSUserDefaults::domain(std::string_view name) {
  auto found = domains_.find(name);
  if (found == domains_.end())
    found = domains_.emplace(name, readDomain(name)).first;
  return *found->second;
}

} // namespace tesker
