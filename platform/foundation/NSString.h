// NSString.h - strings.
//
// A string is a value: nil, or a sequence of bytes that never changes. Copying it shares the bytes
// and costs a count. The bytes are UTF-8 by convention but never required to be: file names on
// Linux are bytes and come through unchanged. They may hold NUL. Two strings are equal when their
// bytes are; nil equals only nil, and is different from the empty string.
//
// Nil may be asked everything here but its zone; it has no bytes.
#pragma once

#include "platform/foundation/NSObject.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// What strings share: the bytes, as the object that a string is among the objects of a property
// list or the keys of an object table. Made by NSString.
class StringObject : public NSObject {
public:
  std::string_view bytes() const { return {bytes_, length_}; }
  const char *cString() const { return bytes_; }

  // Made from the bytes at the first call and kept, for names are looked up again and again.
  std::size_t hash() const final {
    if (hash_ == 0)
      hash_ = hashOfBytes();
    return hash_;
  }
  bool isEqual(const NSObject &other) const final;
  NSString description() const final;
  NSString asString() const final;

protected:
  friend NSObject;
  friend class NSString;
  StringObject(const char *bytes, std::size_t length) : bytes_(bytes), length_(length) {}

private:
  std::uint32_t hashOfBytes() const;

  const char *bytes_; // with a NUL after them
  std::size_t length_;
  mutable std::uint32_t hash_ = 0; // 0 while it is not known
};

class NSString {
public:
  // Nil.
  NSString() = default;
  NSString(std::nullptr_t) {}
  NSString(const NSString &other) : object_(other.object_) {
    if (object_ != nullptr)
      object_->retain();
  }
  NSString(NSString &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  NSString &operator=(NSString other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~NSString() {
    if (object_ != nullptr)
      object_->release();
  }

  // A new string holding a copy of the bytes.
  [[nodiscard]] static NSString create(std::string_view bytes,
                                       NSZone &zone = NSDefaultMallocZone());
  // The same of several pieces, one after the other.
  [[nodiscard]] static NSString joining(std::initializer_list<std::string_view> pieces,
                                        NSZone &zone = NSDefaultMallocZone());
  // A new string that takes the bytes over without a copy.
  [[nodiscard]] static NSString takingOver(std::string &&bytes);

  explicit operator bool() const { return object_ != nullptr; }
  std::string_view bytes() const {
    return object_ != nullptr ? object_->bytes() : std::string_view();
  }
  std::size_t length() const { return bytes().size(); }
  // The bytes with a NUL after them; a C reader stops at the first NUL inside. Valid while a string
  // with these bytes lives.
  const char *cString() const { return object_ != nullptr ? object_->cString() : ""; }
  // The path to hand to the system: the bytes with a NUL after them. A string with a NUL inside
  // names nothing, and gives "", which every system call answers with ENOENT.
  const char *fileSystemRepresentation() const;

  // 0 for nil. Kept with the bytes.
  std::size_t hash() const { return object_ != nullptr ? object_->hash() : 0; }
  // Order of the bytes, unsigned.
  std::strong_ordering compare(const NSString &other) const {
    return bytes().compare(other.bytes()) <=> 0;
  }
  // Whether both are nil or share the very same bytes, not only equal ones.
  bool isSameObjectAs(const NSString &other) const { return object_ == other.object_; }

  // The zone that the bytes are in. Precondition: not nil.
  NSZone &zone() const { return object_->zone(); }
  // An equal string whose bytes are in the zone; the very same where they are already.
  [[nodiscard]] NSString copy(NSZone &zone = NSDefaultMallocZone()) const;

  // The string without trailing slashes (a lone root stays "/"), one "/" and the name; an empty
  // name gives the string without trailing slashes.
  [[nodiscard]] NSString stringByAppendingPathComponent(std::string_view name,
                                                        NSZone &zone = NSDefaultMallocZone()) const;

  // The string as an object, nil for nil; and back (NSObject::asString).
  RefPtr<NSObject> object() const { return RefPtr<NSObject>(object_); }

  friend bool operator==(const NSString &a, const NSString &b) {
    return a.object_ == b.object_ || (a.object_ != nullptr && b.object_ != nullptr && equal(a, b));
  }
  // False for nil.
  friend bool operator==(const NSString &a, std::string_view b) {
    return a.object_ != nullptr && a.bytes() == b;
  }

private:
  friend StringObject;
  explicit NSString(const StringObject *object) : object_(const_cast<StringObject *>(object)) {}

  static bool equal(const NSString &a, const NSString &b) {
    const std::uint32_t hash = a.object_->hash_;
    const std::uint32_t other = b.object_->hash_;
    return (hash == other || hash == 0 || other == 0) && a.bytes() == b.bytes();
  }

  StringObject *object_ = nullptr;
};

inline NSString operator""_ns(const char *bytes, std::size_t length) {
  return NSString::create({bytes, length});
}

// The strings' bytes with the separator between neighbours; "" for none.
[[nodiscard]] NSString componentsJoinedByString(const std::vector<NSString> &strings,
                                                std::string_view separator);

// Hash and equality of strings by their bytes for standard tables, with look-up by bytes alone.
struct StringKeyHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view bytes) const;
  std::size_t operator()(const NSString &key) const { return key.hash(); }
};
struct StringKeyEqual {
  using is_transparent = void;
  template <class A, class B> bool operator()(const A &a, const B &b) const { return a == b; }
};

} // namespace tesker
