#include "tests/protocol/WireMessage.h"

namespace tesker::test {

namespace {

constexpr char kCall = 1, kReply = 2;
constexpr char kNoReplyExpected = 1;
constexpr char kVersion = 1;

std::string numberIn(std::endian order, std::size_t value) {
  std::string bytes;
  for (std::size_t i = 0; i < 4; ++i)
    bytes += static_cast<char>(value >> (8 * (order == std::endian::big ? 3 - i : i)));
  return bytes;
}

} // namespace

WireArguments &WireArguments::number(std::uint32_t value) {
  fillUpTo(4);
  text_ += numberIn(order_, value);
  return *this;
}

WireArguments &WireArguments::large(std::uint64_t value) {
  fillUpTo(8);
  const std::string low = numberIn(order_, value & 0xffffffff);
  const std::string high = numberIn(order_, value >> 32);
  text_ += order_ == std::endian::big ? high + low : low + high;
  return *this;
}

WireArguments &WireArguments::bytes(std::string_view text) {
  number(static_cast<std::uint32_t>(text.size()));
  text_ += text;
  return *this;
}

WireArguments &WireArguments::optionalBytes(std::optional<std::string_view> text) {
  number(text ? static_cast<std::uint32_t>(4 + text->size()) : 0);
  return text ? bytes(*text) : *this;
}

WireArguments &WireArguments::string(std::string_view text) {
  bytes(text);
  text_ += '\0';
  return *this;
}

void WireArguments::fillUpTo(std::size_t boundary) {
  text_.resize((text_.size() + boundary - 1) / boundary * boundary);
}

// The fields of a message's header.
class WireHeader {
public:
  explicit WireHeader(std::endian order) : fields_(order) {}

  void add(char code, char type, std::string_view value) {
    begin(code, type);
    if (type == 'g')
      fields_.text_ += static_cast<char>(value.size()) + std::string(value) + '\0';
    else
      fields_.string(value);
  }
  void addNumber(char code, std::uint32_t value) {
    begin(code, 'u');
    fields_.number(value);
  }

  std::string message(char type, char flags, std::uint32_t serial, const std::string &body) {
    const std::endian order = fields_.order();
    std::string text{order == std::endian::big ? 'B' : 'l', type, flags, kVersion};
    text += numberIn(order, body.size()) + numberIn(order, serial) +
            numberIn(order, fields_.text().size());
    fields_.fillUpTo(8);
    return text + fields_.text() + body;
  }

private:
  void begin(char code, char type) {
    fields_.fillUpTo(8);
    fields_.text_ += {code, 1, type, 0};
  }

  WireArguments fields_;
};

std::string wireMessage(const WireCall &call, const WireArguments &arguments,
                        std::uint32_t serial) {
  WireHeader header(arguments.order());
  header.add(1, 'o', call.path);
  header.add(2, 's', call.interface);
  header.add(3, 's', call.member);
  if (!call.signature.empty())
    header.add(8, 'g', call.signature);
  return header.message(kCall, call.wantsReply ? 0 : kNoReplyExpected, serial, arguments.text());
}

std::string wireReply(std::endian order, std::uint32_t toSerial) {
  WireHeader header(order);
  header.addNumber(5, toSerial);
  return header.message(kReply, kNoReplyExpected, 1, "");
}

} // namespace tesker::test
