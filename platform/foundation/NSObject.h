// NSObject.h - the root class.
//
// Every object is made by a static `create` of its class, in a zone, with one reference; the last
// release destroys it and gives its memory back to that zone. Arguments borrow, results are owned
// (Ref.h). Nil is a null pointer or an empty RefPtr; no member is ever called on nil, so questions
// that tolerate nil are the free functions below.
#pragma once

#include "platform/foundation/NSZone.h"
#include "platform/foundation/Ref.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tesker {

class NSString;

class NSObject {
public:
  NSObject(const NSObject &) = delete;
  NSObject &operator=(const NSObject &) = delete;

  // Equal objects have equal hashes. By default an object equals only itself.
  virtual std::size_t hash() const;
  virtual bool isEqual(const NSObject *other) const;
  // The text that stands for the object: a string is its own, a container is one line of
  // old-style property-list text, anything else the name of its class in angle brackets.
  virtual Ref<NSString> description() const;

  // The zone the object was made in.
  NSZone &zone() const { return *zone_; }

  // Reference counting, used by Ref and RefPtr.
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
  static Ref<T> allocate(NSZone &zone, Arguments &&...arguments);

private:
  void destroy() const;

  mutable std::uint32_t retainCount_ = 1;
  std::uint32_t size_ = 0;
  NSZone *zone_ = nullptr;
};

template <class T, class... Arguments>
Ref<T> NSObject::allocate(NSZone &zone, Arguments &&...arguments) {
  void *block = zone.allocate(sizeof(T), alignof(std::max_align_t));
  T *object;
  try {
    object = new (block) T(std::forward<Arguments>(arguments)...);
  } catch (...) {
    zone.deallocate(block, sizeof(T), alignof(std::max_align_t));
    throw;
  }
  object->NSObject::size_ = sizeof(T);
  object->NSObject::zone_ = &zone;
  return Ref<T>::adopt(*object);
}

// True when both are nil, or neither is and they are equal.
bool isEqual(const NSObject *a, const NSObject *b);

// The object as a T, or nil when it is nil or no T ("isKindOfClass:").
template <class T> const T *as(const NSObject *object) { return dynamic_cast<const T *>(object); }
template <class T> T *as(NSObject *object) { return dynamic_cast<T *>(object); }
template <class T, class U> RefPtr<T> as(const RefPtr<U> &object) {
  return RefPtr<T>(dynamic_cast<T *>(object.get()));
}
template <class T, class U> RefPtr<T> as(const Ref<U> &object) {
  return RefPtr<T>(dynamic_cast<T *>(&object.get()));
}

} // namespace tesker
