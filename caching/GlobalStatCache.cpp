#include "caching/GlobalStatCache.h"

#include "caching/GlobalTable.h"
#include "filesystem/FileManagerUtils.h"
#include "filesystem/TeskerFileManagerMethods.h"

#include <algorithm>
#include <utility>

namespace tesker {

bool staticCacheEnabled = true;

GlobalStatState &globalStatState() {
  static auto &state = *new GlobalStatState{GlobalTable(&filerZone()), 0, nullptr, nullptr};
  return state;
}

namespace {

bool isLastAsked(const GlobalStatState &state, const NSString &dir) {
  return state.lastCacheDir && state.lastCacheDir->isEqualToString(dir);
}

void remember(GlobalStatState &state, const NSString &dir, const RefPtr<NSFileAttributes> &answer) {
  // A copy, so that a caller who changes its string does not change what is remembered; an
  // immutable string is its own copy.
  state.lastCacheDir = dir.copy(dir.zone());
  state.lastCachedStat = answer;
}

// Finds out where the link leads, unless that is known.
void fillFollowInEntry(GlobalEntry &entry, const NSString &path) {
  if (entry.followInfo)
    return;
  ++globalStatState().globalNbStats;
  entry.followInfo = NSFileManager::classObject()._privateStatDir(path, nullptr);
  if (!entry.followInfo || !entry.followInfo->isNetDirectory())
    TeskerBug("Cannot follow link: %@", {path.bytes()});
}

RefPtr<NSFileAttributes> answerOf(GlobalEntry &entry, const NSString &dir, bool follow) {
  if (!follow || !entry.statInfo || !entry.statInfo->isLink())
    return entry.statInfo;
  fillFollowInEntry(entry, dir);
  return entry.followInfo;
}

Ref<GlobalEntry> ensureEntry(GlobalTable &table, const NSString &path) {
  const auto found = table.find(path);
  if (found != table.end())
    return found->second;
  auto entry = GlobalEntry::create(filerZone());
  table.emplace(path.copy(filerZone()), entry);
  return entry;
}

void removeEntry(GlobalTable &table, const NSString &path) {
  const auto found = table.find(path);
  if (found != table.end())
    table.erase(found);
}

// Asks the system anew, and makes the entry where there is none.
RefPtr<NSFileAttributes> refresh(GlobalStatState &state, const NSString &dir, bool follow) {
  ++state.globalNbStats;
  // Taken before the question, so that a change meanwhile counts as one that came after it.
  FilerTS ts;
  setFilerTS(ts);
  auto info = NSFileManager::classObject()._privateLstatDir(dir, nullptr);
  const auto entry = ensureEntry(state.globalTable, dir);
  entry->followInfo = nullptr; // the target may have changed
  entry->statInfo = std::move(info);
  auto answer = answerOf(*entry, dir, follow);
  remember(state, dir, answer);
  // Last: until here the entry does not count as fresh.
  entry->lastCheck = ts;
  return answer;
}

RefPtr<NSFileAttributes> lookUp(GlobalStatState &state, const NSString &dir, bool follow) {
  const auto found = state.globalTable.find(dir);
  if (found == state.globalTable.end() || found->second->lastCheck < globalLastValidateDate)
    return refresh(state, dir, follow);
  auto answer = answerOf(*found->second, dir, follow);
  remember(state, dir, answer);
  return answer;
}

} // namespace

void globalCachedDirStat(const NSString *dir, RefPtr<NSFileAttributes> &result, bool follow) {
  if (dir == nullptr) {
    TeskerBug("globalCachedDirStat: nil dir");
    result = nullptr;
    return;
  }
  GlobalStatState &state = globalStatState();
  // Before everything else, and without a look at the stamps or at follow: see the header.
  if (isLastAsked(state, *dir)) {
    result = state.lastCachedStat;
    return;
  }
  try {
    result = lookUp(state, *dir, follow);
  } catch (...) {
    removeEntry(state.globalTable, *dir);
    throw;
  }
}

void fillGlobalCachedDirLStat(const NSString &path, RefPtr<NSFileAttributes> info,
                              const FilerTS &ts) {
  const auto entry = ensureEntry(globalStatState().globalTable, path);
  // The test is on the target, not on the entry's own record: a link whose target is known keeps
  // both, anything else is replaced by what is offered.
  if (entry->followInfo)
    return;
  entry->statInfo = std::move(info);
  entry->lastCheck = ts;
}

std::int32_t flushVeryOldGlobal(std::int32_t age) {
  GlobalTable &table = globalStatState().globalTable;
  std::int32_t newest = 0;
  for (const auto &[path, entry] : table)
    newest = std::max(newest, entry->lastCheck.time);
  const auto removed = std::erase_if(table, [newest, age](const auto &pair) {
    return std::int64_t{newest} - pair.second->lastCheck.time > age;
  });
  return static_cast<std::int32_t>(removed);
}

void emptyGlobalTable() {
  // A new table in place of the old one gives the buckets back too.
  GlobalStatState &state = globalStatState();
  GlobalTable(&filerZone()).swap(state.globalTable);
}

} // namespace tesker
