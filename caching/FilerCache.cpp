#include "caching/FilerCache.h"

#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/OperatingSystem.h"

namespace tesker {

namespace {

// Never destroyed, for caches may outlive any scope.
std::pmr::vector<FilerCache *> &livingCaches() {
  static auto &caches = *new std::pmr::vector<FilerCache *>(&filerZone());
  return caches;
}

} // namespace

FilerTS globalLastValidateDate;

std::int32_t TSCurrentTime() {
  return static_cast<std::int32_t>(OperatingSystem::current().currentTime());
}

void setFilerTS(FilerTS &stamp) { stamp = {TSCurrentTime(), generation}; }

void setGlobalTS(FilerTS &stamp) { stamp = globalLastValidateDate; }

std::optional<std::int32_t> changeTimeOf(const std::optional<NSFileAttributes> &attributes) {
  if (!attributes)
    return std::nullopt;
  return std::max(attributes->_mtime(), attributes->_getLastChangeTime());
}

bool hasChanged(const std::optional<NSFileAttributes> &attributes,
                std::optional<std::int32_t> changeTime, const FilerTS &stamp) {
  const auto current = changeTimeOf(attributes);
  return !current || current != changeTime || *current == stamp.time;
}

const std::pmr::vector<FilerCache *> &FilerCache::living() { return livingCaches(); }

FilerCache::FilerCache(std::int32_t validateMask, NSZone &zone)
    : zone_(zone), validateMask_(validateMask) {
  setFilerTS(lastValidateDate_);
  livingCaches().push_back(this);
}

FilerCache::~FilerCache() { std::erase(livingCaches(), this); }

void FilerCache::validate(std::int32_t mask) {
  if ((mask & validateMask_) != 0)
    setFilerTS(lastValidateDate_);
}

void FilerCache::reset() {
  statistics_ = 0;
  setFilerTS(lastValidateDate_);
}

} // namespace tesker
