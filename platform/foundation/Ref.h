// Ref.h - owning references to reference-counted objects.
//
// Ref<T> never holds nil; RefPtr<T> may. Both keep one reference on the object for as long as they
// live. An object is created with one reference, which the creating function adopts, so a result
// of type Ref or RefPtr is owned by the caller and nothing has to be given back by hand.
//
// A Ref that has been moved from may only be destroyed or assigned to. Counts are not atomic.
#pragma once

#include <cassert>
#include <cstddef>
#include <utility>

namespace tesker {

template <class T> class Ref {
public:
  // A further reference to a living object.
  explicit Ref(T &object) : object_(&object) { object_->retain(); }
  // Takes over the reference that a new object was born with.
  static Ref adopt(T &object) { return Ref(&object); }

  Ref(const Ref &other) : object_(other.object_) { object_->retain(); }
  Ref(Ref &&other) noexcept : object_(other.leak()) {}
  template <class U> Ref(const Ref<U> &other) : object_(&*other) { object_->retain(); }
  template <class U> Ref(Ref<U> &&other) noexcept : object_(other.leak()) {}
  ~Ref() {
    if (object_ != nullptr)
      object_->release();
  }
  Ref &operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T &operator*() const {
    assert(object_ != nullptr);
    return *object_;
  }
  T *operator->() const { return &**this; }
  // Hands the reference itself to the caller, who has to adopt or release it.
  [[nodiscard]] T *leak() noexcept { return std::exchange(object_, nullptr); }

private:
  explicit Ref(T *object) : object_(object) {}
  T *object_;
};

template <class T> class RefPtr {
public:
  RefPtr() = default;
  RefPtr(std::nullptr_t) {}
  // A further reference to the object, or nil.
  explicit RefPtr(T *object) : object_(object) {
    if (object_ != nullptr)
      object_->retain();
  }
  template <class U> RefPtr(const Ref<U> &other) : RefPtr(&*other) {}
  template <class U> RefPtr(Ref<U> &&other) noexcept : object_(other.leak()) {}
  RefPtr(const RefPtr &other) : RefPtr(other.object_) {}
  RefPtr(RefPtr &&other) noexcept : object_(other.leak()) {}
  template <class U> RefPtr(const RefPtr<U> &other) : RefPtr(other.pointer()) {}
  template <class U> RefPtr(RefPtr<U> &&other) noexcept : object_(other.leak()) {}
  ~RefPtr() {
    if (object_ != nullptr)
      object_->release();
  }
  RefPtr &operator=(RefPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  explicit operator bool() const { return object_ != nullptr; }
  // Borrowed; nil when there is none.
  T *pointer() const { return object_; }
  T &operator*() const {
    assert(object_ != nullptr);
    return *object_;
  }
  T *operator->() const { return &**this; }
  // The same object as a reference that cannot be nil. Precondition: it is not nil.
  Ref<T> toRef() const { return Ref<T>(**this); }
  [[nodiscard]] T *leak() noexcept { return std::exchange(object_, nullptr); }

private:
  T *object_ = nullptr;
};

} // namespace tesker
