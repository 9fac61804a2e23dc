#include "platform/foundation/NSString.h"

#include "platform/foundation/KeyedHash.h"

#include <cstring>
#include <memory>

namespace tesker {

namespace {

// Whose bytes stand behind it, in the same block.
class InlineString final : public StringObject {
public:
  static Ref<InlineString> create(std::size_t length, NSZone &zone) {
    auto made = allocateWithRoom<InlineString>(zone, length + 1, length);
    made->room()[length] = '\0';
    return made;
  }
  char *room() { return reinterpret_cast<char *>(this + 1); }

private:
  friend NSObject;
  explicit InlineString(std::size_t length)
      : StringObject(reinterpret_cast<const char *>(this + 1), length) {}
};

// Whose bytes were made elsewhere.
class AdoptedString final : public StringObject {
public:
  static Ref<AdoptedString> create(std::string &&bytes) {
    return allocate<AdoptedString>(NSDefaultMallocZone(),
                                   std::make_unique<std::string>(std::move(bytes)));
  }

private:
  friend NSObject;
  explicit AdoptedString(std::unique_ptr<std::string> bytes)
      : StringObject(bytes->c_str(), bytes->size()), kept_(std::move(bytes)) {}
  std::unique_ptr<std::string> kept_;
};

std::uint32_t keptHash(std::string_view bytes) {
  const auto hash = static_cast<std::uint32_t>(keyedHash(bytes));
  return hash != 0 ? hash : 1; // 0 stands for "not known"
}

} // namespace

std::uint32_t StringObject::hashOfBytes() const { return keptHash(bytes()); }

bool StringObject::isEqual(const NSObject &other) const {
  if (this == &other)
    return true;
  const NSString theirs = other.asString();
  return theirs && theirs.bytes() == bytes();
}

NSString StringObject::description() const { return asString(); }

NSString StringObject::asString() const {
  retain();
  return NSString(this);
}

NSString NSString::create(std::string_view bytes, NSZone &zone) {
  auto made = InlineString::create(bytes.size(), zone);
  bytes.copy(made->room(), bytes.size());
  return NSString(made.leak());
}

NSString NSString::joining(std::initializer_list<std::string_view> pieces, NSZone &zone) {
  std::size_t length = 0;
  for (const std::string_view piece : pieces)
    length += piece.size();
  auto made = InlineString::create(length, zone);
  char *end = made->room();
  for (const std::string_view piece : pieces)
    end += piece.copy(end, piece.size());
  return NSString(made.leak());
}

NSString NSString::takingOver(std::string &&bytes) {
  return NSString(AdoptedString::create(std::move(bytes)).leak());
}

const char *NSString::fileSystemRepresentation() const {
  return std::strlen(cString()) == length() ? cString() : "";
}

NSString NSString::copy(NSZone &wanted) const {
  return object_ == nullptr || &wanted == &zone() ? *this : create(bytes(), wanted);
}

NSString NSString::stringByAppendingPathComponent(std::string_view name, NSZone &zone) const {
  std::string_view base = bytes();
  while (base.size() > 1 && base.back() == '/')
    base.remove_suffix(1);
  const bool wantsSlash = !name.empty() && !base.ends_with('/');
  return joining({base, wantsSlash ? "/" : "", name}, zone);
}

NSString componentsJoinedByString(const std::vector<NSString> &strings,
                                  std::string_view separator) {
  std::string joined;
  for (const NSString &string : strings) {
    if (&string != &strings.front())
      joined += separator;
    joined += string.bytes();
  }
  return NSString::create(joined);
}

std::size_t StringKeyHash::operator()(std::string_view bytes) const { return keptHash(bytes); }

} // namespace tesker
