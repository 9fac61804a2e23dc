// NSObject.h - the root class, and the pools that keep objects until a described moment.
//
// Every object is made by a static `create` of its class, in a zone, with one reference; the last
// release destroys it and gives its memory back to that zone. No member is ever called on nil.
#pragma once

#include "platform/foundation/NSZone.h"
#include "platform/foundation/Ref.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tesker {

class NSString;
class NSArray;
class NSDictionary;
class NSData;

class NSObject {
public:
  NSObject(const NSObject &) = delete;
  NSObject &operator=(const NSObject &) = delete;

  // Equal objects have equal hashes. By default an object equals only itself.
  virtual std::size_t hash() const;
  virtual bool isEqual(const NSObject &other) const;
  // The text that stands for the object: a string is its own, a container is one line of
  // old-style property-list text, anything else the name of its class in angle brackets.
  virtual NSString description() const;

  // The object as what it is, among the kinds that property lists are made of; nil for the others.
  // Arrays, dictionaries and data are lent for as long as the object lives.
  virtual NSString asString() const;
  virtual const NSArray *asArray() const { return nullptr; }
  virtual const NSDictionary *asDictionary() const { return nullptr; }
  virtual const NSData *asData() const { return nullptr; }

  // The zone the object was made in.
  NSZone &zone() const { return *zone_; }

  // Reference counting, used by Ref, RefPtr and NSString.
  void retain() const { ++retainCount_; }
  void release() const {
    assert(retainCount_ > 0);
    if (--retainCount_ == 0)
      destroy();
  }
  unsigned retainCount() const { return retainCount_; }

protected:
  NSObject() = default;
  virtual ~NSObject() = default;

  // Makes a T in the zone. Classes befriend NSObject so that their constructors can stay private.
  template <class T, class... Arguments>
  static Ref<T> allocate(NSZone &zone, Arguments &&...arguments) {
    return allocateWithRoom<T>(zone, 0, std::forward<Arguments>(arguments)...);
  }
  // The same with so many bytes behind the object, which are its own. The object knows its zone
  // only once its constructor is done.
  template <class T, class... Arguments>
  static Ref<T> allocateWithRoom(NSZone &zone, std::size_t room, Arguments &&...arguments);

private:
  void destroy() const;

  mutable std::uint32_t retainCount_ = 1;
  std::uint32_t size_ = 0; // of the block
  NSZone *zone_ = nullptr;
};

// The size of an object's block, which it keeps in 32 bits. Raises std::bad_alloc for a larger one.
[[nodiscard]] std::uint32_t checkedBlockSize(std::size_t size, std::size_t room);

template <class T, class... Arguments>
Ref<T> NSObject::allocateWithRoom(NSZone &zone, std::size_t room, Arguments &&...arguments) {
  const std::uint32_t size = checkedBlockSize(sizeof(T), room);
  void *block = zone.allocate(size, alignof(std::max_align_t));
  T *object;
  try {
    object = new (block) T(std::forward<Arguments>(arguments)...);
  } catch (...) {
    zone.deallocate(block, size, alignof(std::max_align_t));
    throw;
  }
  object->NSObject::size_ = size; // of the base, whatever names T has
  object->NSObject::zone_ = &zone;
  return Ref<T>::adopt(*object);
}

// Objects kept alive until a described moment. Results are owned by those who hold them (Ref.h), so
// a pool serves only where the moment of its release is part of the behaviour: around the whole
// process and around the one request. Pools form a stack: a new pool is the current one until it is
// released.
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
