// The two requests and the walk behind them.
//
// The walk has no depth limit and does not look for cycles: a link to one of its own ancestors is
// followed each time it is met, until the system refuses the path (ELOOP, ENAMETOOLONG). Whatever
// goes wrong with one path or one entry skips that one, without a message.

#include "tool/ToolFinderTool.h"

#include "filesystem/FileManagerUtils.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "parsing/AppParsing.h"
#include "parsing/RecordEncoding.h"
#include "paths/PathFunctions.h"

#include <exception>
#include <string_view>

namespace tesker {

namespace {

constexpr std::string_view kPathSeparator("\0", 1);

bool isWrapperSuffix(const NSString *suffix) {
  return isEqual(suffix, "app") || isEqual(suffix, "debug") || isEqual(suffix, "profile");
}

} // namespace

void ToolFinderTool::findAppsInSearchPath(const NSString &path, const NSString *previous,
                                          Ref<FinderClient> client) {
  lines_ = NSMutableArray::create();
  doForPath(path);
  answer(previous, path, *client);
}

void ToolFinderTool::findAppsForDockPaths(const NSString &paths, const NSString *previous,
                                          Ref<FinderClient> client) {
  lines_ = NSMutableArray::create();
  doForPaths(*paths.componentsSeparatedByString(kPathSeparator));
  answer(previous, *NSString::create("Dock"), *client);
}

void ToolFinderTool::answer(const NSString *previous, const NSString &key, FinderClient &client) {
  const Ref<NSString> text = encodeParsedApp(*lines_);
  client.noteLines(text->isEqual(previous) ? nullptr : &*text, key);
  terminate(client);
}

void ToolFinderTool::doForPaths(const NSArray &paths) {
  for (std::size_t i = 0; i < paths.count(); ++i)
    doForPath(*as<NSString>(paths.objectAtIndex(i)));
}

void ToolFinderTool::doForPath(const NSString &path) {
  RefPtr<NSString> dir, file;
  TeskerNormalizePathIntoDirFile(path, dir, file);
  if (!file)
    return;
  checkMasterStillAlive();
  RefPtr<NSFileAttributes> info;
  try {
    info = NSFileManager::classObject()._privateStatDir(*dir, file.get());
  } catch (const std::exception &) {
    return;
  }
  doForPathInfo(path, info.get());
}

void ToolFinderTool::doForPathInfo(const NSString &path, const NSFileAttributes *info) {
  if (info == nullptr || info->canExecute() == 0)
    return;
  RefPtr<NSString> dir, file;
  TeskerNormalizePathIntoDirFile(path, dir, file);
  if (!file)
    return;
  NSFileManager &fileManager = NSFileManager::classObject();
  NSZone &zone = NSDefaultMallocZone();
  if (!info->isDirectory())
    lines_->addObjectsFromArray(parseApp(fileManager, *dir, file.get(), zone).get());
  else if (isWrapperSuffix(getSuffix(file.get()).get()))
    lines_->addObjectsFromArray(parseAppWrapper(fileManager, *dir, file.get(), zone).get());
  else
    walkDirectory(path);
}

void ToolFinderTool::walkDirectory(const NSString &path) {
  auto infos = NSMutableArray::create();
  checkMasterStillAlive();
  const auto names = NSFileManager::classObject()._privateLStatDir(path, true, true, *infos);
  if (!names)
    return;
  for (std::size_t i = 0; i < names->count(); ++i) {
    const auto info = as<NSFileAttributes>(infos->objectAtIndex(i));
    // Neither a link nor executable: no application, and not worth a joined path.
    if (!info->isLink() && info->canExecute() == 0)
      continue;
    try {
      const auto entry = TeskerCatDirFile(path, as<NSString>(names->objectAtIndex(i)).get());
      if (info->isLink())
        doForPath(*entry); // judged by what it points to
      else
        doForPathInfo(*entry, info.get());
    } catch (const std::exception &) { // skips this entry only
    }
  }
}

} // namespace tesker
