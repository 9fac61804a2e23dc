// NSString.h - strings.
//
// A string is a sequence of bytes, UTF-8 by convention but never required to be: file names on
// Linux are bytes and come through unchanged. It may hold NUL bytes. Two strings are equal when
// their bytes are. Nil and the empty string are different. An NSString never changes, except as the
// NSMutableString that it was made as.
#pragma once

#include "platform/foundation/NSObject.h"

#include <compare>
#include <string>
#include <string_view>

namespace tesker {

class NSArray;

class NSString : public NSObject {
public:
  // A new string holding a copy of the bytes.
  [[nodiscard]] static Ref<NSString> create(std::string_view bytes,
                                            NSZone &zone = NSDefaultMallocZone());
  // A new string that takes the bytes over without a copy. They must be in the default zone.
  [[nodiscard]] static Ref<NSString> takingOver(std::pmr::string &&bytes);

  std::string_view bytes() const { return bytes_; }
  std::size_t length() const { return bytes_.size(); }
  // The bytes with a NUL after them; a C reader stops at the first NUL inside. Valid while the
  // string lives and does not change.
  const char *cString() const { return bytes_.c_str(); }
  // The path to hand to the system: the bytes with a NUL after them. A string with a NUL inside
  // names nothing, and gives "", which every system call answers with ENOENT.
  const char *fileSystemRepresentation() const;

  // Order of the bytes, unsigned.
  std::strong_ordering compare(const NSString &other) const;
  // Made from the bytes at the first call and kept, for names are looked up again and again.
  std::size_t hash() const override;
  bool isEqual(const NSObject *other) const override;
  bool isEqualToString(const NSString &other) const {
    if (this == &other)
      return true;
    if (hash_ != other.hash_ && hash_ != 0 && other.hash_ != 0)
      return false;
    return bytes_ == other.bytes_;
  }
  Ref<NSString> description() const override;

  // An immutable string with the same bytes in the zone; the receiver itself where it is one.
  [[nodiscard]] virtual Ref<NSString> copy(NSZone &zone = NSDefaultMallocZone()) const;

  // The pieces between the separators, in order; one piece (the whole) when there is none, and
  // empty pieces at the ends and between neighbours. The separator is not empty.
  [[nodiscard]] Ref<NSArray> componentsSeparatedByString(std::string_view separator) const;

  // The receiver without trailing slashes (a lone root stays "/"), one "/" and the name; an empty
  // name gives the receiver without trailing slashes.
  [[nodiscard]] Ref<NSString> stringByAppendingPathComponent(std::string_view name) const;

protected:
  friend NSObject;
  NSString(std::string_view bytes, NSZone &zone) : bytes_(bytes, &zone) {}
  explicit NSString(std::pmr::string &&bytes) : bytes_(std::move(bytes)) {}
  std::pmr::string bytes_;

private:
  mutable std::size_t hash_ = 0; // 0 while it is not known, which in one that changes is always
};

class NSMutableString final : public NSString {
public:
  [[nodiscard]] static Ref<NSMutableString> create(std::string_view bytes = {},
                                                   NSZone &zone = NSDefaultMallocZone());
  void setString(std::string_view bytes) { bytes_ = bytes; }
  void appendString(std::string_view bytes) { bytes_ += bytes; }
  std::size_t hash() const override; // not kept
  [[nodiscard]] Ref<NSString> copy(NSZone &zone = NSDefaultMallocZone()) const override;

private:
  friend NSObject;
  using NSString::NSString;
};

// True when the string is not nil and has just these bytes.
bool isEqual(const NSString *string, std::string_view bytes);

// Hash and equality of strings by their bytes for standard tables keyed by owned strings, with
// look-up by any string or by bytes alone.
struct StringKeyHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view bytes) const;
  std::size_t operator()(const NSString &key) const { return key.hash(); }
  std::size_t operator()(const Ref<NSString> &key) const { return key->hash(); }
};
struct StringKeyEqual {
  using is_transparent = void;
  static std::string_view bytesOf(std::string_view bytes) { return bytes; }
  static std::string_view bytesOf(const NSString &key) { return key.bytes(); }
  static std::string_view bytesOf(const Ref<NSString> &key) { return key->bytes(); }
  template <class A, class B> bool operator()(const A &a, const B &b) const {
    return bytesOf(a) == bytesOf(b);
  }
};

} // namespace tesker
