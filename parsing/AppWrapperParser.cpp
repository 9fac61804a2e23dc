// Application wrappers: which of the entries of Foo.app describe it.

#include "filesystem/FileManagerUtils.h"
#include "parsing/AppParsing.h"
#include "parsing/TKLine.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"

#include <algorithm>
#include <vector>

namespace tesker {

namespace {

constexpr std::string_view kInfoList = "Info-quorvale.plist";
constexpr std::string_view kRegistry = "registry.table";
constexpr std::string_view kResources = "Resources";

// One wrapper while its entries are visited.
class WrapperParser {
public:
  WrapperParser(NSFileManager &fileManagerClass, const NSString &dir, const NSString &file,
                NSZone &zone)
      : fileManagerClass_(fileManagerClass), zone_(zone), file_(file), hasSuffix_(getSuffix(&file)),
        baseName_(strip(&file)), fullPath_(TeskerCatDirFile(dir, &file)),
        executablePath_(TeskerCatDirFile(*fullPath_, baseName_.get())) {}

  // The accumulated records; nil when no rule appended anything.
  RefPtr<NSMutableArray> parse() {
    const auto entries = children();
    // From the last to the first: the rules for the executable and for "services" look at what was
    // seen before them, so the order decides.
    for (std::size_t i = entries->count(); i-- > 0;)
      visit(*as<NSString>(entries->objectAtIndex(i)));
    parseNested();
    return std::move(records_);
  }

private:
  Ref<NSMutableArray> children() {
    try {
      if (auto names = NSFileManager::classObject().childrenForDirPath(*fullPath_))
        return names.toRef();
    } catch (const NSException &) { // as for a wrapper without entries
    }
    return NSMutableArray::create();
  }

  void append(const RefPtr<NSMutableArray> &more) {
    records_ = catenateArrays(std::move(records_), more.get());
  }

  // The first rule that matches the entry applies.
  void visit(const NSString &entry) {
    const auto suffix = getSuffix(&entry);
    if (isEqual(suffix.get(), "tool") || isEqual(suffix.get(), "bundle"))
      nested_.push_back(entry.copy());
    else if (entry.bytes() == kInfoList || entry.bytes() == kResources)
      parseDescriptionsBelow(entry);
    else if (!suffix && hasSuffix_ && entry.isEqual(baseName_.get()) && !descriptionSeen_)
      append(parseApp(fileManagerClass_, *fullPath_, &entry, zone_));
    else if (entry.bytes() == "services" && !descriptionSeen_)
      appendServices();
    else if (entry.bytes() == kRegistry) {
      descriptionSeen_ = true;
      append(parseOldNewStyle(*executablePath_, baseName_.get(),
                              *TeskerCatDirFile(*fullPath_, &entry)));
    }
  }

  // The descriptions are looked for below the entry. For the entry "Info-quorvale.plist" itself
  // that is one level too deep, and is kept so: only the "Resources" directory works.
  void parseDescriptionsBelow(const NSString &entry) {
    const auto entryPath = TeskerCatDirFile(*fullPath_, &entry);
    descriptionSeen_ = true;
    append(parseNewStyle(*executablePath_, baseName_.get(),
                         *entryPath->stringByAppendingPathComponent(kInfoList)));
    const auto registry = entryPath->stringByAppendingPathComponent(kRegistry);
    if (NSFileManager::classObject().fileExistsAtPath(*registry))
      append(parseOldNewStyle(*executablePath_, baseName_.get(), *registry));
    if (entry.bytes() == kResources && file_.bytes().find("Tesker") != std::string_view::npos)
      append(parseAppWrapper(fileManagerClass_, *fullPath_, &entry, zone_));
  }

  void appendServices() {
    auto record = TKLine::create(2, zone_);
    record->set("path", executablePath_);
    record->set("type", "services");
    auto one = NSMutableArray::create(1);
    one->addObject(std::move(record));
    append(one);
  }

  // After all other entries, in descending order.
  void parseNested() {
    std::sort(nested_.begin(), nested_.end(),
              [](const auto &a, const auto &b) { return a->compare(*b) > 0; });
    for (const Ref<NSString> &name : nested_)
      append(parseAppWrapper(fileManagerClass_, *fullPath_, &*name, zone_));
  }

  NSFileManager &fileManagerClass_;
  NSZone &zone_;
  const NSString &file_;
  const bool hasSuffix_;
  const RefPtr<NSString> baseName_; // nil for a wrapper without a dot in its name
  const Ref<NSString> fullPath_;
  const Ref<NSString> executablePath_;
  bool descriptionSeen_ = false;
  std::vector<Ref<NSString>> nested_;
  RefPtr<NSMutableArray> records_;
};

} // namespace

RefPtr<NSMutableArray> parseAppWrapper(NSFileManager &fileManagerClass, const NSString &dir,
                                       const NSString *file, NSZone &zone) {
  if (file == nullptr)
    return nullptr;
  RefPtr<NSFileAttributes> info;
  try {
    info = fileManagerClass._privateStatDir(dir, file);
  } catch (const NSException &) {
    return nullptr;
  }
  if (!info || info->canExecute() == 0)
    return nullptr;
  if (!info->isDirectory())
    return parseApp(fileManagerClass, dir, file, zone);
  return WrapperParser(fileManagerClass, dir, *file, zone).parse();
}

Ref<NSMutableArray> catenateArrays(RefPtr<NSMutableArray> first, const NSArray *second) {
  // An array that nobody else holds can grow in place: nobody can tell it from a new one, and many
  // appends to one list stay linear.
  if (first && first->retainCount() == 1) {
    first->addObjectsFromArray(second);
    return Ref<NSMutableArray>::adopt(*first.leak());
  }
  auto both = NSMutableArray::create((first ? first->count() : 0) +
                                     (second != nullptr ? second->count() : 0));
  both->addObjectsFromArray(first.get());
  both->addObjectsFromArray(second);
  return both;
}

} // namespace tesker
