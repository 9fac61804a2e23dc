// WireMessage.h - D-Bus messages byte by byte, in either byte order, as no library would send them.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tesker::test {

// Arguments of a message, one after the other.
class WireArguments {
public:
  explicit WireArguments(std::endian order) : order_(order) {}

  // Of the types u, t, ay, aay (a text that may be nil), and o or s.
  WireArguments &number(std::uint32_t value);
  WireArguments &large(std::uint64_t value);
  WireArguments &bytes(std::string_view text);
  WireArguments &optionalBytes(std::optional<std::string_view> text);
  WireArguments &string(std::string_view text);

  std::endian order() const { return order_; }
  const std::string &text() const { return text_; }

private:
  friend class WireHeader;
  void fillUpTo(std::size_t boundary);

  std::endian order_;
  std::string text_;
};

struct WireCall {
  std::string_view path, interface, member, signature;
  bool wantsReply = false;
};

// The call with its arguments, in their byte order.
[[nodiscard]] std::string wireMessage(const WireCall &call, const WireArguments &arguments,
                                      std::uint32_t serial = 1);
// An empty reply to the call with this serial.
[[nodiscard]] std::string wireReply(std::endian order, std::uint32_t toSerial);

} // namespace tesker::test
