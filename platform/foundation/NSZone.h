// NSZone.h - memory zones.
//
// A zone is a std::pmr::memory_resource with a name: objects and tables that live and die together
// are allocated in one zone, so that they lie close to each other and can be counted. The default
// zone is the ordinary heap, unless a program wants it otherwise. Zones are never destroyed, since
// objects may outlive any scope.
//
// A zone that has no memory raises std::bad_alloc and is as it was before; it can be asked again.
// Giving memory back never fails.
//
// Under AddressSanitizer every zone allocates straight from the heap, so that a use after free
// inside a zone is seen.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory_resource>
#include <string>

namespace tesker {

class NSZone final : public std::pmr::memory_resource {
public:
  // Start size and granule in bytes; for the default zone both are 0.
  std::size_t startSize() const { return startSize_; }
  std::size_t granule() const { return granule_; }
  // Empty until NSSetZoneName.
  const std::string &name() const { return name_; }
  // Bytes handed out and not yet given back, as the callers asked for them. Where several threads
  // use the zone, as they may the default one, it is about so many.
  std::size_t bytesInUse() const { return bytesInUse_.load(std::memory_order_relaxed); }

private:
  friend NSZone &NSDefaultMallocZone();
  friend NSZone &NSCreateZone(std::size_t startSize, std::size_t granule);
  friend void NSSetZoneName(NSZone &zone, const char *name);
  friend struct NSZonePeer; // for tests
  NSZone(std::size_t startSize, std::size_t granule, std::pmr::memory_resource &memory);

  void *do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void *block, std::size_t bytes, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override;

  // Kept: not one indivisible step, which would cost each allocation of one thread dearly for the
  // sake of a number that only tests and people read.
  void count(std::size_t bytes) {
    bytesInUse_.store(bytesInUse() + bytes, std::memory_order_relaxed);
  }

  std::size_t startSize_;
  std::size_t granule_;
  std::atomic<std::size_t> bytesInUse_ = 0;
  std::pmr::memory_resource *memory_;
  std::string name_;
};

// The zone of everything that names no other: the ordinary heap, or a pool of its own.
NSZone &NSDefaultMallocZone();

// Has the default zone carve its blocks from chunks, as zones that are made do. For a program of
// one thread, since it takes no lock: it costs a fifth of what the heap costs. To be called before
// all that allocates; once the default zone is in use it changes nothing.
void NSPoolDefaultMallocZone();

// A new zone. Blocks up to a page are carved from chunks of the heap and can be freed one by one:
// their memory serves blocks of the same size again. Larger ones come from the heap directly.
// startSize and granule (bytes) say how much it expects to need at first and at a time; they are
// remembered, and change nothing. Raises std::bad_alloc when there is no memory for the zone.
NSZone &NSCreateZone(std::size_t startSize, std::size_t granule);

void NSSetZoneName(NSZone &zone, const char *name);

} // namespace tesker
