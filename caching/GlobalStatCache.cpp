#include "caching/GlobalStatCache.h"

#include "filesystem/ErrorTexts.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"

#include <algorithm>

namespace tesker {

bool staticCacheEnabled = true;

GlobalStatState &globalStatState() {
  static auto &state = *new GlobalStatState{GlobalTable(&filerZone()), 0, nullptr, std::nullopt};
  return state;
}

namespace {

// Finds out where the link leads, unless that is known. Kept: of a target that is not there nothing
// is known, and it is asked for and logged again.
void fillFollowInEntry(GlobalEntry &entry, const NSString &path) {
  if (entry.followInfo)
    return;
  ++globalStatState().globalNbStats;
  entry.followInfo = NSFileManager::classObject()._privateStatDir(path, nullptr);
  if (!entry.followInfo || !entry.followInfo->isNetDirectory())
    TeskerBug("Cannot follow link: %@", {path.bytes()});
}

const std::optional<NSFileAttributes> &answerOf(GlobalEntry &entry, const NSString &dir,
                                                bool follow) {
  if (!follow || !entry.statInfo || !entry.statInfo->isLink())
    return entry.statInfo;
  fillFollowInEntry(entry, dir);
  return entry.followInfo;
}

GlobalEntry &ensureEntry(GlobalTable &table, const NSString &path) {
  const auto found = table.find(path);
  return found != table.end() ? found->second
                              : table.try_emplace(path.copy(filerZone())).first->second;
}

const std::optional<NSFileAttributes> &remember(GlobalStatState &state, const NSString &dir,
                                                const std::optional<NSFileAttributes> &answer) {
  state.lastCacheDir = dir;
  state.lastCachedStat = answer;
  return state.lastCachedStat;
}

// Asks the system again, and makes the entry where there is none.
const std::optional<NSFileAttributes> &refresh(GlobalStatState &state, const NSString &dir,
                                               bool follow) {
  ++state.globalNbStats;
  // Taken before the question, so that a change meanwhile counts as one that came after it.
  FilerTS ts;
  setFilerTS(ts);
  const auto info = NSFileManager::classObject()._privateLstatDir(dir, nullptr);
  GlobalEntry &entry = ensureEntry(state.globalTable, dir);
  entry.followInfo = std::nullopt; // the target may have changed
  entry.statInfo = info;
  const auto &answer = remember(state, dir, answerOf(entry, dir, follow));
  // Last: until here the entry does not count as fresh.
  entry.lastCheck = ts;
  return answer;
}

const std::optional<NSFileAttributes> &lookUp(GlobalStatState &state, const NSString &dir,
                                              bool follow) {
  const auto found = state.globalTable.find(dir);
  if (found == state.globalTable.end() || found->second.lastCheck < globalLastValidateDate)
    return refresh(state, dir, follow);
  return remember(state, dir, answerOf(found->second, dir, follow));
}

} // namespace

std::optional<NSFileAttributes> globalCachedDirStat(const NSString &dir, bool follow) {
  if (!dir) {
    TeskerBug("globalCachedDirStat: nil dir");
    return std::nullopt;
  }
  GlobalStatState &state = globalStatState();
  // Before everything else, and without a look at the stamps or at follow: see the header.
  if (state.lastCacheDir == dir)
    return state.lastCachedStat;
  try {
    return lookUp(state, dir, follow);
  } catch (...) {
    state.globalTable.erase(dir);
    throw;
  }
}

void fillGlobalCachedDirLStat(const NSString &path, const std::optional<NSFileAttributes> &info,
                              const FilerTS &ts) {
  GlobalEntry &entry = ensureEntry(globalStatState().globalTable, path);
  // The test is on the target, not on the entry's own record.
  if (entry.followInfo)
    return;
  entry.statInfo = info;
  entry.lastCheck = ts;
}

std::int32_t flushVeryOldGlobal(std::int32_t age) {
  GlobalTable &table = globalStatState().globalTable;
  std::int32_t newest = 0;
  for (const auto &[path, entry] : table)
    newest = std::max(newest, entry.lastCheck.time);
  const auto removed = std::erase_if(table, [newest, age](const auto &pair) {
    return std::int64_t{newest} - pair.second.lastCheck.time > age;
  });
  return static_cast<std::int32_t>(removed);
}

void emptyGlobalTable() {
  // A new table in place of the old one gives the buckets back too.
  GlobalTable(&filerZone()).swap(globalStatState().globalTable);
}

} // namespace tesker
