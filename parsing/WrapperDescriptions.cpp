// The two description files of an application wrapper: the new-style property list and the older
// registry. They differ on purpose where it shows: only new-style extensions carry a priority, and
// the registry's application always has the icon "NSApplicationIcon".

#include "parsing/AppParsing.h"
#include "parsing/TKLine.h"
#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"

#include <optional>
#include <string>

namespace tesker {

namespace {

// A record takes some hundred bytes however little of a description makes it.
constexpr std::size_t kMostRecords = 100'000;

// Whether the application may have one more record; says so once where it may not.
bool hasRoom(const NSMutableArray &result, const NSString &executablePath) {
  if (result.count() < kMostRecords)
    return true;
  syslogError("*** Applications Finder: too many records for %s", {executablePath.bytes()});
  return false;
}

RefPtr<NSObject> copyOrNil(const NSString *string) {
  return string == nullptr ? RefPtr<NSObject>() : RefPtr<NSObject>(string->copy());
}

Ref<TKLine> recordFor(const NSString &executablePath, std::string_view type) {
  auto record = TKLine::create(6);
  record->set("path", executablePath.copy());
  record->set("type", type);
  return record;
}

// The icon is the value's when it is a dictionary that has a string under the key.
RefPtr<NSObject> iconOf(const RefPtr<NSObject> &value, std::string_view key) {
  const RefPtr<NSDictionary> type = as<NSDictionary>(value);
  return type ? RefPtr<NSObject>(as<NSString>(type->objectForKey(key))) : nullptr;
}

Ref<TKLine> extensionRecord(const NSString &executablePath, const NSString &extension,
                            const NSString *appName, RefPtr<NSObject> icon) {
  auto record = recordFor(executablePath, "extension");
  record->set("name", extension.copy());
  record->set("appName", copyOrNil(appName));
  record->set("icon", std::move(icon));
  return record;
}

// The dictionary that the text holds, or nil; malformed text is logged with the file's path.
template <class Read> RefPtr<NSDictionary> parsedOrLogged(const NSString &path, Read read) {
  try {
    return as<NSDictionary>(RefPtr<NSObject>(read()));
  } catch (const NSException &) {
    syslogError("*** Applications Finder: error parsing %s", {path.bytes()});
    return nullptr;
  }
}

void addDocumentTypes(const NSDictionary &types, NSMutableArray &result,
                      const NSString &executablePath, const NSString *baseName) {
  auto extensions = types.keyEnumerator();
  while (auto extension = extensions.nextObject()) {
    if (!hasRoom(result, executablePath))
      return;
    result.addObject(
        extensionRecord(executablePath, *extension, baseName,
                        iconOf(types.objectForKey(extension->bytes()), "NSImageName")));
  }
}

// From the last to the first. An inspector's own pairs may replace "path" and "type".
void addInspectors(const NSArray &inspectors, NSMutableArray &result,
                   const NSString &executablePath) {
  for (std::size_t i = inspectors.count(); i-- > 0;) {
    const auto inspector = as<NSDictionary>(inspectors.objectAtIndex(i));
    if (!inspector)
      continue;
    if (!hasRoom(result, executablePath))
      return;
    auto record = recordFor(executablePath, "InspectorCommand");
    record->addEntriesFromDictionary(*inspector);
    result.addObject(std::move(record));
  }
}

} // namespace

void parseNSTypesArray(const NSArray &types, NSMutableArray &result, const NSString &executablePath,
                       const NSString *appName, std::string_view priority) {
  for (const Ref<NSObject> &element : types) {
    const RefPtr<NSDictionary> type = as<NSDictionary>(element);
    const RefPtr<NSArray> extensions =
        type ? as<NSArray>(type->objectForKey("NSExtensions")) : nullptr;
    if (!extensions)
      return;
    for (const Ref<NSObject> &name : *extensions) {
      const auto *extension = as<NSString>(&*name);
      if (extension == nullptr)
        continue;
      if (!hasRoom(result, executablePath))
        return;
      auto record = extensionRecord(executablePath, *extension, appName, iconOf(type, "NSIcon"));
      record->set("priority", priority);
      result.addObject(std::move(record));
    }
  }
}

void parseResourceFileDict(const NSDictionary &extensions, NSMutableArray &result,
                           const NSString &executablePath, const NSString *appName,
                           std::string_view priority) {
  auto names = extensions.keyEnumerator();
  while (auto name = names.nextObject()) {
    if (!hasRoom(result, executablePath))
      return;
    auto record = extensionRecord(executablePath, *name, appName,
                                  iconOf(extensions.objectForKey(name->bytes()), "NSIcon"));
    record->set("priority", priority);
    result.addObject(std::move(record));
  }
}

RefPtr<NSMutableArray> parseNewStyle(const NSString &executablePath, const NSString *baseName,
                                     const NSString &listPath) {
  const std::optional<std::string> text = contentsOfFile(listPath, kLargestPropertyListFile);
  const RefPtr<NSDictionary> list = parsedOrLogged(listPath, [&]() -> RefPtr<NSObject> {
    if (text)
      return propertyList(*text);
    const auto bundle = NSBundle::bundleWithPath(executablePath);
    return bundle ? RefPtr<NSObject>(bundle->infoDictionary()) : nullptr;
  });
  if (!list)
    return nullptr;

  auto result = NSMutableArray::create();
  if (const auto types = as<NSArray>(list->objectForKey("NSTypes")))
    parseNSTypesArray(*types, *result, executablePath, baseName, "NSPrimary");
  else if (const auto extensions = as<NSDictionary>(list->objectForKey("NSExtensions")))
    parseResourceFileDict(*extensions, *result, executablePath, baseName, "NSPrimary");

  auto application = recordFor(executablePath, "app");
  application->set("name", list->objectForKey("NSExecutable"));
  application->set("icon", list->objectForKey("NSIcon"));
  result->addObject(std::move(application));
  if (as<NSArray>(list->objectForKey("NSServices")))
    result->addObject(recordFor(executablePath, "services"));
  return result;
}

RefPtr<NSMutableArray> parseOldNewStyle(const NSString &executablePath, const NSString *baseName,
                                        const NSString &registryPath) {
  const std::optional<std::string> text = contentsOfFile(registryPath, kLargestPropertyListFile);
  if (!text) {
    syslogError("*** Applications Finder: cannot read file %s", {registryPath.bytes()});
    return nullptr;
  }
  const RefPtr<NSDictionary> registry =
      parsedOrLogged(registryPath, [&] { return propertyList(*text); });
  if (!registry)
    return nullptr;

  auto result = NSMutableArray::create();
  if (const auto types = as<NSDictionary>(registry->objectForKey("NSDocumentTypes")))
    addDocumentTypes(*types, *result, executablePath, baseName);
  if (const auto inspectors = as<NSArray>(registry->objectForKey("NSNodeInspectors")))
    addInspectors(*inspectors, *result, executablePath);

  auto application = recordFor(executablePath, "app");
  application->set("name", copyOrNil(baseName));
  application->set("icon", "NSApplicationIcon");
  result->addObject(std::move(application));
  return result;
}

} // namespace tesker
