#include "platform/foundation/NSUserDefaults.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/Text.h"

#include <optional>
#include <vector>

namespace tesker {

namespace {

bool isAbsolute(std::string_view path) { return path.starts_with('/'); }

Ref<NSDictionary> copyOf(const NSDictionary &pairs) {
  auto copy = NSDictionary::create();
  copy->addEntriesFromDictionary(pairs);
  return copy;
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
  for (const std::string_view directory : piecesOf(system, ':'))
    if (isAbsolute(directory))
      directories.emplace_back(directory);
  return directories;
}

NSString domainFile(std::string_view directory, std::string_view name) {
  const std::string file = "tesker/defaults/" + std::string(name) + ".plist";
  return NSString::create(directory).stringByAppendingPathComponent(file);
}

// The pairs of one file, or nil.
RefPtr<const NSDictionary> readDomainFile(const NSString &path) {
  const Result<std::string> text = contentsOfFile(path, kLargestPropertyListFile);
  if (!text)
    return nullptr;
  std::string problem = "it holds no dictionary";
  try {
    const Ref<NSObject> value = propertyList(*text);
    if (const NSDictionary *pairs = value->asDictionary())
      return RefPtr(pairs);
  } catch (const NSException &exception) {
    problem = exception.reason();
  }
  syslogError("Ignoring defaults file %s: %@", {path.bytes(), problem});
  return nullptr;
}

Ref<NSDictionary> readDomain(std::string_view name) {
  auto domain = NSDictionary::create();
  const auto files = userDefaultsFiles(name);
  // The least important first, so that the others replace what it says.
  for (auto file = files.rbegin(); file != files.rend(); ++file)
    if (const auto pairs = readDomainFile(*file))
      domain->addEntriesFromDictionary(*pairs);
  return domain;
}

} // namespace

NSUserDefaults &NSUserDefaults::standardUserDefaults() {
  static auto &standard = *new NSUserDefaults;
  return standard;
}

NSUserDefaults::NSUserDefaults()
    : searchList_{NSString::create(OperatingSystem::current().programName()),
                  NSString::create(NSGlobalDomain), NSString::create(NSRegistrationDomain)} {
  domains_.emplace(NSRegistrationDomain, NSDictionary::create());
}

void NSUserDefaults::registerDefaults(const NSDictionary &defaults) {
  domain(NSRegistrationDomain).addEntriesFromDictionary(defaults);
}

void NSUserDefaults::setVolatileDomain(const NSDictionary &pairs, std::string_view name) {
  domains_.insert_or_assign(std::string(name), copyOf(pairs));
}

const NSObject *NSUserDefaults::objectForKey(std::string_view key) {
  for (const NSString &name : searchList_)
    if (const NSObject *value = domain(name.bytes()).objectForKey(key))
      return value;
  return nullptr;
}

NSString NSUserDefaults::stringForKey(std::string_view key) {
  const NSObject *value = objectForKey(key);
  return value != nullptr ? value->asString() : NSString();
}

NSDictionary &NSUserDefaults::domain(std::string_view name) {
  auto found = domains_.find(name);
  if (found == domains_.end())
    found = domains_.emplace(name, readDomain(name)).first;
  return *found->second;
}

NSString userDefaultsFile(std::string_view domain) {
  const auto directory = userConfigurationDirectory();
  return directory ? domainFile(*directory, domain) : NSString();
}

std::vector<NSString> userDefaultsFiles(std::string_view domain) {
  std::vector<NSString> files;
  for (const std::string &directory : configurationDirectories())
    files.push_back(domainFile(directory, domain));
  return files;
}

} // namespace tesker
