// Splitting paths into clean components, and the way back.
#include "paths/PathFunctions.h"

#include "platform/foundation/NSLog.h"

#include <algorithm>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kIncorrectPath = "*** Incorrect path: '%s'";
constexpr std::string_view kIncorrectDir = "*** Incorrect dir: '%s'";
constexpr std::string_view kIncorrectFile = "*** Incorrect file: '%s'";

RefPtr<NSMutableArray> refused(std::string_view format, const NSString &text) {
  syslogError(format, {text.bytes()});
  return nullptr;
}

// The names between the slashes that isKept keeps, after the empty string that stands for the root.
// Nil when the path is not absolute or isRefused refuses a name.
template <class Refused, class Kept>
RefPtr<NSMutableArray> cleanComponents(const NSString &path, Refused isRefused, Kept isKept) {
  if (!path.bytes().starts_with('/'))
    return nullptr;
  auto components = NSMutableArray::create();
  components->addObject(NSString::create(""));
  std::string_view rest = path.bytes();
  while (!rest.empty()) {
    rest.remove_prefix(1); // the slash
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(name.size());
    if (isRefused(name))
      return nullptr;
    if (isKept(name))
      components->addObject(NSString::create(name));
  }
  return components;
}

// A name counts without one NUL at its end, so that a lone NUL is no name.
bool isName(std::string_view piece) {
  constexpr std::string_view kLoneNul("\0", 1);
  return !piece.empty() && piece != "." && piece != kLoneNul;
}

bool hasComponents(const NSArray *components) {
  if (components != nullptr && components->count() > 0)
    return true;
  const auto description =
      components != nullptr ? components->description() : NSString::create("(null)");
  syslogError("*** Incorrect components: %s", {description->bytes()});
  return false;
}

} // namespace

RefPtr<NSMutableArray> TeskerSplitPathIntoCleanComponents(const NSString &path) {
  auto components = cleanComponents(
      path, [](std::string_view name) { return name == ".."; }, isName);
  return components ? components : refused(kIncorrectPath, path);
}

RefPtr<NSMutableArray> TeskerSplitDirFileIntoCleanComponents(const NSString &dir,
                                                             const NSString *file) {
  const auto isDots = [](std::string_view name) { return name == "." || name == ".."; };
  auto components =
      cleanComponents(dir, isDots, [](std::string_view name) { return !name.empty(); });
  if (!components)
    return refused(kIncorrectDir, dir);
  if (file == nullptr)
    return components;
  if (file->bytes().find('/') != std::string_view::npos || isDots(file->bytes()))
    return refused(kIncorrectFile, *file);
  components->addObject(file->copy());
  return components;
}

Ref<NSString> TeskerJoinComponents(const NSArray &components) {
  return components.count() == 1 ? NSString::create("/") : components.componentsJoinedByString("/");
}

RefPtr<NSString> TeskerDirForCleanComponents(const NSArray *components) {
  if (!hasComponents(components))
    return nullptr;
  if (components->count() <= 2)
    return NSString::create("/");
  const auto above = components->mutableCopy();
  above->removeLastObject();
  return above->componentsJoinedByString("/");
}

RefPtr<NSString> TeskerFileForCleanComponents(const NSArray *components) {
  if (!hasComponents(components) || components->count() == 1)
    return nullptr;
  return components->objectAtIndex(components->count() - 1)->description();
}

void TeskerNormalizePathIntoDirFile(const NSString &path, RefPtr<NSString> &dir,
                                    RefPtr<NSString> &file) {
  const auto components = TeskerSplitPathIntoCleanComponents(path);
  if (!components)
    syslogError("*** normalizePath: incorrect argument: '%@'", {path.bytes()});
  dir = TeskerDirForCleanComponents(components.get());
  file = TeskerFileForCleanComponents(components.get());
}

bool TeskerIsRootOf(const NSArray &a, const NSArray &b) {
  return a.count() < b.count() &&
         std::equal(a.begin(), a.end(), b.begin(),
                    [](const auto &mine, const auto &other) { return mine->isEqual(&*other); });
}

} // namespace tesker
