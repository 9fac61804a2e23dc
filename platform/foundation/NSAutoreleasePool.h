// NSAutoreleasePool.h - objects kept alive until a described moment.
//
// Results are owned by those who hold them (Ref.h), so a pool serves only where the moment of its
// release is part of the behaviour: around the whole process and around the one request. Pools form
// a stack: a new pool is the current one until it is released.
#pragma once

#include "platform/foundation/NSObject.h"

#include <vector>

namespace tesker {

class NSAutoreleasePool final : public NSObject {
public:
  // A new pool, which becomes the current one.
  [[nodiscard]] static Ref<NSAutoreleasePool> create();

  // Keeps the object alive until the current pool goes. Precondition: there is a pool.
  static void addObject(Ref<NSObject> object);

private:
  friend NSObject;
  NSAutoreleasePool();
  // Releases the objects, the last added first, and makes the pool below the current one again.
  ~NSAutoreleasePool() override;

  std::vector<Ref<NSObject>> objects_;
};

} // namespace tesker
