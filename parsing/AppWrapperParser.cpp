#include "parsing/AppWrapperParser.h"

#include "filesystem/TextFunctions.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/Judgement.h"
#include "parsing/WrapperDescriptions.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace tesker {

namespace {

// One wrapper while its entries are visited.
class WrapperParser {
public:
  WrapperParser(NSFileManager &fileManagerClass, const NSString &dir, const NSString &file,
                NSZone &zone, WayDown *way)
      : fileManagerClass_(fileManagerClass), zone_(zone), way_(way), file_(file),
        hasSuffix_(getSuffix(file)), baseName_(strip(file)), fullPath_(TeskerCatDirFile(dir, file)),
        executablePath_(TeskerCatDirFile(fullPath_, baseName_)) {}

  // The accumulated records; nothing when no rule appended anything.
  std::optional<Records> parse() {
    if (Judge *judge = Judge::current())
      judge->enterWrapper();
    // From the last to the first: the rules for the executable and for "services" look at what was
    // seen before them, so the order decides.
    const Names entries = children();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
      if (isNestedWrapperName(entry->bytes())) // parsed behind all other entries
        nested_.push_back(*entry);
      else
        judged(fullPath_, entry->bytes(), [&] {
          visit(*entry);
          giveVerdict(JudgementCode::wrapperPart); // or it has one
        });
    }
    parseNested();
    return std::move(records_);
  }

private:
  Names children() {
    try {
      if (auto names = NSFileManager::classObject().childrenForDirPath(fullPath_))
        return std::move(*names);
    } catch (const NSException &) { // as for a wrapper without entries
    }
    giveVerdict(JudgementCode::notSearchable);
    return {};
  }

  // An append of nothing is an append too.
  void append(std::optional<Records> more) {
    records_ = catenateArrays(std::move(records_), std::move(more));
  }

  bool isExecutable(const NSString &entry) const {
    return suffixOf(entry.bytes()).empty() && hasSuffix_ && entry == baseName_;
  }

  // The first rule that matches the entry applies.
  void visit(const NSString &entry) {
    if (entry == kInfoListName || entry == kResourcesName)
      parseDescriptionsBelow(entry);
    else if (const bool isOwn = isExecutable(entry); isOwn || entry == "services") {
      if (descriptionSeen_)
        giveVerdict(JudgementCode::passedOver);
      else if (isOwn)
        append(parseApp(fileManagerClass_, fullPath_, entry, zone_));
      else
        appendServices();
    } else if (entry == kRegistryName) {
      descriptionSeen_ = true;
      append(
          parseOldNewStyle(executablePath_, baseName_, TeskerCatDirFile(fullPath_, entry), room_));
    }
  }

  // Kept: the descriptions are looked for below the entry. For the entry "Info-quorvale.plist"
  // itself that is one level too deep, so that only the "Resources" directory works; wrappers with
  // both have always been read like that.
  void parseDescriptionsBelow(const NSString &entry) {
    const NSString entryPath = TeskerCatDirFile(fullPath_, entry);
    descriptionSeen_ = true;
    if (entry == kInfoListName)
      giveVerdict(JudgementCode::descriptionTooDeep);
    append(parseNewStyle(executablePath_, baseName_,
                         entryPath.stringByAppendingPathComponent(kInfoListName), room_));
    const NSString registry = entryPath.stringByAppendingPathComponent(kRegistryName);
    if (NSFileManager::classObject().fileExistsAtPath(registry))
      append(parseOldNewStyle(executablePath_, baseName_, registry, room_));
    if (entry == kResourcesName && hasWrapperInResources(file_.bytes()))
      appendNested(entry);
  }

  void appendServices() {
    TKLine record = TKLine::create(2, zone_);
    record.set(recordWords().path, executablePath_);
    record.set(recordWords().type, recordWords().services);
    append(Records{std::move(record)});
  }

  // After all other entries, in descending order.
  void parseNested() {
    std::ranges::sort(nested_,
                      [](const NSString &a, const NSString &b) { return a.compare(b) > 0; });
    for (const NSString &name : nested_)
      judged(fullPath_, name.bytes(), [&] { appendNested(name); });
  }

  void appendNested(const NSString &name) {
    auto records = parseAppWrapper(fileManagerClass_, fullPath_, name, zone_, way_);
    countRecords(records ? records->size() : 0);
    append(std::move(records));
  }

  NSFileManager &fileManagerClass_;
  NSZone &zone_;
  WayDown *const way_; // nil where none is asked for
  const NSString file_;
  const bool hasSuffix_;
  const NSString baseName_; // nil for a wrapper without a dot in its name
  const NSString fullPath_;
  const NSString executablePath_;
  bool descriptionSeen_ = false;
  RecordRoom room_;
  std::vector<NSString> nested_;
  std::optional<Records> records_;
};

} // namespace

std::optional<Records> parseAppWrapper(NSFileManager &fileManagerClass, const NSString &dir,
                                       const NSString &file, NSZone &zone, WayDown *way) {
  if (!file)
    return std::nullopt;
  std::optional<NSFileAttributes> attributes;
  try {
    attributes = fileManagerClass._privateStatDir(dir, file);
  } catch (const NSException &) { // as for one that is not there
  }
  if (!attributes) {
    giveVerdictOfFailure(JudgementCode::danglingLink);
    return std::nullopt;
  }
  return parseAppWrapper(fileManagerClass, {dir, file, *attributes}, zone, way);
}

std::optional<Records> parseAppWrapper(NSFileManager &fileManagerClass, const Entry &wrapper,
                                       NSZone &zone, WayDown *way) {
  if (wrapper.attributes.canExecute() == 0) {
    giveVerdict(wrapper.attributes.isDirectory() ? JudgementCode::notSearchable
                                                 : JudgementCode::notExecutable);
    return std::nullopt;
  }
  if (!wrapper.attributes.isDirectory())
    return parseApp(fileManagerClass, wrapper.dir, wrapper.file, zone);
  if (way != nullptr && way->leadsBack(wrapper))
    return std::nullopt;
  const WayDown::Step step(way, wrapper);
  return WrapperParser(fileManagerClass, wrapper.dir, wrapper.file, zone, way).parse();
}

Records catenateArrays(std::optional<Records> first, std::optional<Records> second) {
  Records both = std::move(first).value_or(Records());
  if (second)
    std::ranges::move(*second, std::back_inserter(both));
  return both;
}

} // namespace tesker
