#include "parsing/WrapperDescriptions.h"

#include "parsing/DescriptionJudgement.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/PropertyList.h"

#include <array>
#include <string>

namespace tesker {

namespace {

constexpr std::array<std::string_view, 5> kListKeys = {"NSTypes", "NSExtensions", "NSExecutable",
                                                       "NSIcon", "NSServices"};
constexpr std::array<std::string_view, 2> kTypeKeys = {"NSExtensions", "NSIcon"};
constexpr std::array<std::string_view, 2> kRegistryKeys = {"NSDocumentTypes", "NSNodeInspectors"};

TKLine recordFor(const NSString &executablePath, const NSString &type) {
  TKLine record = TKLine::create(6);
  record.set(recordWords().path, executablePath);
  record.set(recordWords().type, type);
  return record;
}

// A detail; its text is made only where it is wanted.
void tell(const NSObject &value, JudgedText::At at, JudgementCode code, std::string_view detail) {
  if (Judge::currentWantsDetails())
    JudgedText::remarkOn(value, at, code, std::string(detail));
}

// The icon is what stands under the key when that is a string in a dictionary.
NSString iconOf(const NSObject &described, std::string_view key) {
  const NSDictionary *type = described.asDictionary();
  if (type == nullptr) {
    tell(described, JudgedText::At::value, JudgementCode::ignored,
         "the value is not a dictionary that names an icon");
    return nullptr;
  }
  const NSObject *value = type->objectForKey(key);
  const NSString icon = value != nullptr ? value->asString() : nullptr;
  if (icon)
    tell(*value, JudgedText::At::value, JudgementCode::iconTaken, icon.bytes());
  else
    judgeString(*type, key);
  return icon;
}

TKLine extensionRecord(const NSString &executablePath, const NSString &extension,
                       const NSString &appName, const NSString &icon) {
  TKLine record = recordFor(executablePath, recordWords().extension);
  record.set(recordWords().name, extension);
  record.set(recordWords().appName, appName);
  record.set(recordWords().icon, icon);
  return record;
}

// What the text holds, or nil; malformed text is logged with the file's path.
RefPtr<const NSDictionary> parsedOrLogged(const NSString &path, std::string_view text,
                                          JudgedText &judgedText) {
  try {
    const auto value = propertyList(text, judgedText.places());
    if (value->asDictionary() == nullptr)
      JudgedText::remarkOn(*value, JudgedText::At::value, JudgementCode::wrongKind,
                           "the description is not a dictionary");
    judgedText.remarkOnRepeatedKeys();
    return RefPtr(value->asDictionary());
  } catch (const NSException &malformed) {
    judgedText.remarkOn(malformed);
    syslogError("*** Applications Finder: error parsing %s", {path.bytes()});
    return nullptr;
  }
}

// The description of the bundle that the executable path may be; nil when it is not one.
RefPtr<const NSDictionary> bundleDescription(const NSString &executablePath,
                                             const NSString &listPath) {
  const auto bundle = NSBundle::bundleWithPath(executablePath);
  try {
    return bundle ? bundle->infoDictionary() : nullptr;
  } catch (const NSException &) {
    syslogError("*** Applications Finder: error parsing %s", {listPath.bytes()});
    return nullptr;
  }
}

// The keys are the extensions; where a value is a dictionary it names the icon under iconKey.
void addExtensions(const NSDictionary &extensions, std::string_view iconKey, Records &result,
                   const NSString &executablePath, const NSString &appName,
                   const NSString &priority, RecordRoom &room) {
  for (const auto &[name, value] : extensions) {
    if (!room.take(executablePath))
      return;
    tell(*value, JudgedText::At::key, JudgementCode::extensionTaken, name.bytes());
    if (const NSDictionary *type = value->asDictionary())
      judgeKeys(*type, {&iconKey, 1});
    result.push_back(extensionRecord(executablePath, name, appName, iconOf(*value, iconKey)));
    result.back().set(recordWords().priority, priority);
  }
}

// From the last to the first. An inspector's own pairs may replace "path" and "type".
void addInspectors(const NSArray &inspectors, Records &result, const NSString &executablePath,
                   RecordRoom &room) {
  for (auto next = inspectors.end(); next != inspectors.begin();) {
    const NSObject &element = **--next;
    const NSDictionary *inspector = element.asDictionary();
    if (inspector == nullptr) {
      JudgedText::remarkOn(element, JudgedText::At::value, JudgementCode::wrongKind,
                           "an inspector is not a dictionary");
      continue;
    }
    if (!room.take(executablePath))
      return;
    result.push_back(recordFor(executablePath, recordWords().inspectorCommand));
    result.back().addEntriesFromDictionary(*inspector);
  }
}

// What the list itself says, or should say.
void judgeNewStyle(const NSDictionary &list) {
  if (Judge::current() == nullptr)
    return;
  judgeKeys(list, kListKeys);
  judgeString(list, "NSExecutable", true);
  if (const NSString name = list.stringForKey("NSExecutable"))
    tell(*list.objectForKey("NSExecutable"), JudgedText::At::value, JudgementCode::nameTaken,
         name.bytes());
  judgeString(list, "NSIcon", true);
  if (const NSString icon = list.stringForKey("NSIcon"))
    tell(*list.objectForKey("NSIcon"), JudgedText::At::value, JudgementCode::iconTaken,
         icon.bytes());
  if (list.arrayForKey("NSTypes") != nullptr)
    if (const NSObject *extensions = list.objectForKey("NSExtensions"))
      tell(*extensions, JudgedText::At::key, JudgementCode::ignored,
           "NSExtensions is not looked at where NSTypes is there");
  if (list.objectForKey("NSExecutable") == nullptr)
    JudgedText::remarkOn(list, JudgedText::At::value, JudgementCode::missingKey, "NSExecutable");
}

} // namespace

bool RecordRoom::take(const NSString &executablePath) {
  if (left_ > 0) {
    --left_;
    return true;
  }
  if (!logged_)
    remark([] { return Remark{.code = JudgementCode::limitsReached}; });
  if (!logged_)
    syslogError("*** Applications Finder: too many records for %s", {executablePath.bytes()});
  logged_ = true;
  return false;
}

void parseNSTypesArray(const NSArray &types, Records &result, const NSString &executablePath,
                       const NSString &appName, const NSString &priority, RecordRoom &room) {
  for (const auto &element : types) {
    const NSDictionary *type = element->asDictionary();
    const NSArray *extensions = type != nullptr ? type->arrayForKey("NSExtensions") : nullptr;
    if (extensions == nullptr) {
      JudgedText::remarkOn(*element, JudgedText::At::value, JudgementCode::typesCutShort,
                           type == nullptr ? "the element is not a dictionary"
                                           : "the element has no array NSExtensions");
      return;
    }
    judgeKeys(*type, kTypeKeys);
    const NSString icon = iconOf(*type, "NSIcon");
    for (const auto &name : *extensions) {
      const NSString extension = name->asString();
      if (!extension) {
        JudgedText::remarkOn(*name, JudgedText::At::value, JudgementCode::wrongKind,
                             "an extension is not a string");
        continue;
      }
      if (!room.take(executablePath))
        return;
      tell(*name, JudgedText::At::value, JudgementCode::extensionTaken, extension.bytes());
      result.push_back(extensionRecord(executablePath, extension, appName, icon));
      result.back().set(recordWords().priority, priority);
    }
  }
}

void parseResourceFileDict(const NSDictionary &extensions, Records &result,
                           const NSString &executablePath, const NSString &appName,
                           const NSString &priority, RecordRoom &room) {
  addExtensions(extensions, "NSIcon", result, executablePath, appName, priority, room);
}

std::optional<Records> parseNewStyle(const NSString &executablePath, const NSString &baseName,
                                     const NSString &listPath, RecordRoom &room) {
  const Result<std::string> text = contentsOfFile(listPath, kLargestPropertyListFile);
  JudgedText judgedText(listPath, text ? std::string_view(*text) : std::string_view());
  const auto list = text ? parsedOrLogged(listPath, *text, judgedText)
                         : bundleDescription(executablePath, listPath);
  if (!list) {
    if (!text)
      remarkOnUnreadable(listPath, text.failure().error);
    return std::nullopt;
  }
  judgeNewStyle(*list);

  Records result;
  const NSString priority = recordWords().primary;
  if (const NSArray *types = judgedArray(*list, "NSTypes"))
    parseNSTypesArray(*types, result, executablePath, baseName, priority, room);
  else if (const NSDictionary *extensions = judgedDictionary(*list, "NSExtensions"))
    parseResourceFileDict(*extensions, result, executablePath, baseName, priority, room);

  TKLine application = recordFor(executablePath, recordWords().app);
  application.setFrom(*list, "NSExecutable", recordWords().name);
  application.setFrom(*list, "NSIcon", recordWords().icon);
  result.push_back(std::move(application));
  if (judgedArray(*list, "NSServices") != nullptr)
    result.push_back(recordFor(executablePath, recordWords().services));
  return result;
}

std::optional<Records> parseOldNewStyle(const NSString &executablePath, const NSString &baseName,
                                        const NSString &registryPath, RecordRoom &room) {
  const Result<std::string> text = contentsOfFile(registryPath, kLargestPropertyListFile);
  if (!text) {
    remarkOnUnreadable(registryPath, text.failure().error);
    syslogError("*** Applications Finder: cannot read file %s", {registryPath.bytes()});
    return std::nullopt;
  }
  JudgedText judgedText(registryPath, *text);
  const auto registry = parsedOrLogged(registryPath, *text, judgedText);
  if (!registry)
    return std::nullopt;
  judgeKeys(*registry, kRegistryKeys);

  Records result;
  if (const NSDictionary *types = judgedDictionary(*registry, "NSDocumentTypes"))
    addExtensions(*types, "NSImageName", result, executablePath, baseName, nullptr, room);
  if (const NSArray *inspectors = judgedArray(*registry, "NSNodeInspectors"))
    addInspectors(*inspectors, result, executablePath, room);

  TKLine application = recordFor(executablePath, recordWords().app);
  application.set(recordWords().name, baseName);
  application.set(recordWords().icon, recordWords().applicationIcon);
  result.push_back(std::move(application));
  return result;
}

} // namespace tesker
