#include "platform/foundation/NSZone.h"

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace tesker {

NSZone::NSZone(std::size_t startSize, std::size_t granule, std::pmr::memory_resource &memory)
    : startSize_(startSize), granule_(granule), memory_(memory) {}

void *NSZone::do_allocate(std::size_t bytes, std::size_t alignment) {
  void *block = memory_.allocate(bytes, alignment);
  bytesInUse_ += bytes;
  return block;
}

void NSZone::do_deallocate(void *block, std::size_t bytes, std::size_t alignment) {
  bytesInUse_ -= bytes;
  memory_.deallocate(block, bytes, alignment);
}

bool NSZone::do_is_equal(const std::pmr::memory_resource &other) const noexcept {
  return this == &other;
}

NSZone &NSDefaultMallocZone() {
  static NSZone &zone = *new NSZone(0, 0, *std::pmr::new_delete_resource());
  return zone;
}

NSZone &NSCreateZone(std::size_t startSize, std::size_t granule) {
#ifdef __SANITIZE_ADDRESS__
  std::pmr::memory_resource &memory = *std::pmr::new_delete_resource();
#else
  // Blocks up to a page come from pools of equal blocks, larger ones from the heap directly.
  std::pmr::pool_options options;
  options.largest_required_pool_block = std::max(startSize, granule);
  std::pmr::memory_resource &memory =
      *new std::pmr::unsynchronized_pool_resource(options, std::pmr::new_delete_resource());
#endif
  // Zones live as long as the process; the list keeps them reachable for leak checkers.
  static auto &zones = *new std::vector<NSZone *>;
  zones.push_back(new NSZone(startSize, granule, memory));
  return *zones.back();
}

void NSSetZoneName(NSZone &zone, const char *name) { zone.name_ = name; }

NSZone &filerZone() {
  static NSZone &zone = []() -> NSZone & {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    NSZone &made = NSCreateZone(page, page);
    NSSetZoneName(made, "File Caching");
    return made;
  }();
  return zone;
}

} // namespace tesker
