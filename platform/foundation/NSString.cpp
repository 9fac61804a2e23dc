#include "platform/foundation/NSString.h"

#include "platform/foundation/KeyedHash.h"
#include "platform/foundation/NSArray.h"

namespace tesker {

Ref<NSString> NSString::create(std::string_view bytes, NSZone &zone) {
  return allocate<NSString>(zone, bytes, zone);
}

Ref<NSString> NSString::takingOver(std::pmr::string &&bytes) {
  assert(bytes.get_allocator().resource() == &NSDefaultMallocZone());
  return allocate<NSString>(NSDefaultMallocZone(), std::move(bytes));
}

const char *NSString::fileSystemRepresentation() const {
  return bytes().find('\0') == std::string_view::npos ? cString() : "";
}

std::strong_ordering NSString::compare(const NSString &other) const {
  return bytes().compare(other.bytes()) <=> 0;
}

std::size_t NSString::hash() const {
  if (hash_ == 0)
    hash_ = keyedHash(bytes());
  return hash_;
}

bool NSString::isEqual(const NSObject *other) const {
  const auto *string = as<NSString>(other);
  return string != nullptr && isEqualToString(*string);
}

Ref<NSString> NSString::description() const { return copy(); }

Ref<NSString> NSString::copy(NSZone &wanted) const {
  if (&wanted != &zone())
    return create(bytes(), wanted);
  // Sharing an immutable string cannot be told from copying it; only its count changes.
  return Ref<NSString>(const_cast<NSString &>(*this));
}

Ref<NSArray> NSString::componentsSeparatedByString(std::string_view separator) const {
  auto pieces = NSMutableArray::create();
  std::string_view rest = bytes();
  for (;;) {
    const std::size_t end = rest.find(separator);
    pieces->addObject(create(rest.substr(0, end)));
    if (end == std::string_view::npos)
      return pieces;
    rest.remove_prefix(end + separator.size());
  }
}

Ref<NSString> NSString::stringByAppendingPathComponent(std::string_view name) const {
  std::string_view base = bytes();
  while (base.size() > 1 && base.back() == '/')
    base.remove_suffix(1);
  if (name.empty())
    return create(base);
  std::string path;
  path.reserve(base.size() + 1 + name.size());
  path += base;
  if (!base.ends_with('/'))
    path += '/';
  path += name;
  return create(path);
}

Ref<NSMutableString> NSMutableString::create(std::string_view bytes, NSZone &zone) {
  return allocate<NSMutableString>(zone, bytes, zone);
}

std::size_t NSMutableString::hash() const { return keyedHash(bytes()); }

Ref<NSString> NSMutableString::copy(NSZone &zone) const { return NSString::create(bytes(), zone); }

bool isEqual(const NSString *string, std::string_view bytes) {
  return string != nullptr && string->bytes() == bytes;
}

std::size_t StringKeyHash::operator()(std::string_view bytes) const { return keyedHash(bytes); }

} // namespace tesker
