#include "platform/foundation/NSZone.h"

#include "platform/foundation/PoolResource.h"

#include <list>
#include <new>

namespace tesker {

NSZone::NSZone(std::size_t startSize, std::size_t granule, std::pmr::memory_resource &memory)
    : startSize_(startSize), granule_(granule), memory_(&memory) {}

void *NSZone::do_allocate(std::size_t bytes, std::size_t alignment) {
  void *block = memory_->allocate(bytes, alignment);
  count(bytes);
  return block;
}

void NSZone::do_deallocate(void *block, std::size_t bytes, std::size_t alignment) {
  count(-bytes);
  memory_->deallocate(block, bytes, alignment);
}

bool NSZone::do_is_equal(const std::pmr::memory_resource &other) const noexcept {
  return this == &other;
}

namespace {

// The heap. The standard library's own resource asks for aligned memory even where every block is
// aligned so, which takes the slow way through the allocator.
class Heap : public std::pmr::memory_resource {
  void *do_allocate(std::size_t bytes, std::size_t alignment) override {
    return alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
               ? ::operator new(bytes)
               : ::operator new(bytes, std::align_val_t(alignment));
  }
  void do_deallocate(void *block, std::size_t, std::size_t alignment) override {
    if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__)
      ::operator delete(block);
    else
      ::operator delete(block, std::align_val_t(alignment));
  }
  bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override {
    return this == &other;
  }
};

std::pmr::memory_resource &heap() {
  static auto &resource = *new Heap;
  return resource;
}

#ifdef __SANITIZE_ADDRESS__
struct PooledMemory final : Heap {
  explicit PooledMemory(std::pmr::memory_resource &) {}
};
#else
using PooledMemory = PoolResource;
#endif

constinit bool poolsDefaultZone = false;

} // namespace

NSZone &NSDefaultMallocZone() {
  static NSZone &zone = *new NSZone(0, 0, poolsDefaultZone ? *new PooledMemory{heap()} : heap());
  return zone;
}

void NSPoolDefaultMallocZone() { poolsDefaultZone = true; }

NSZone &NSCreateZone(std::size_t startSize, std::size_t granule) {
  struct MemoryAndZone {
    MemoryAndZone(std::size_t start, std::size_t more) : zone(start, more, memory) {}
    PooledMemory memory{heap()};
    NSZone zone;
  };
  // Zones live as long as the process; the list keeps them reachable for leak checkers. A zone and
  // its memory are one allocation: they are made together or not at all.
  static auto &zones = *new std::list<MemoryAndZone>;
  return zones.emplace_back(startSize, granule).zone;
}

void NSSetZoneName(NSZone &zone, const char *name) { zone.name_ = name; }

} // namespace tesker
