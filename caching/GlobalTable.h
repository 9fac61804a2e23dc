// GlobalTable.h - what the global stat cache keeps. Internal to it and to its tests.
#pragma once

#include "caching/FilerTS.h"
#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"

#include <cstdint>
#include <memory_resource>
#include <unordered_map>

namespace tesker {

class GlobalEntry final : public NSObject {
public:
  [[nodiscard]] static Ref<GlobalEntry> create(NSZone &zone) { return allocate<GlobalEntry>(zone); }

  FilerTS lastCheck;                   // when statInfo was obtained
  RefPtr<NSFileAttributes> statInfo;   // of the path itself; nil when it cannot be examined
  RefPtr<NSFileAttributes> followInfo; // of the target; only for links, and only once asked for

private:
  friend NSObject;
  GlobalEntry() = default;
};

using GlobalTable =
    std::pmr::unordered_map<Ref<NSString>, Ref<GlobalEntry>, StringKeyHash, StringKeyEqual>;

struct GlobalStatState {
  GlobalTable globalTable;
  std::int32_t globalNbStats = 0; // real stat calls made, for whoever looks with a debugger
  // The one-entry memory: the path asked for last and the very record that was the answer.
  RefPtr<NSString> lastCacheDir;
  RefPtr<NSFileAttributes> lastCachedStat;
};

// The one of the process.
GlobalStatState &globalStatState();

} // namespace tesker
