#include "command/Utf8.h"

namespace tesker {

namespace {

// What a leading byte announces: how many bytes, its own bits of the code, and the smallest code
// that needs that many bytes. Length 0 for a byte that leads nothing.
struct Lead {
  std::size_t length;
  char32_t bits;
  char32_t smallest;
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80)
    return {1, byte, 0};
  if (byte >= 0xC2 && byte < 0xE0)
    return {2, byte & 0x1Fu, 0x80};
  if (byte >= 0xE0 && byte < 0xF0)
    return {3, byte & 0x0Fu, 0x800};
  if (byte >= 0xF0 && byte < 0xF5)
    return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

} // namespace

Utf8Character firstUtf8Character(std::string_view bytes) {
  if (bytes.empty())
    return {0, 0};
  const Lead lead = leadOf(static_cast<unsigned char>(bytes.front()));
  if (lead.length == 0 || bytes.size() < lead.length)
    return {0, 0};
  char32_t code = lead.bits;
  for (const char following : bytes.substr(1, lead.length - 1)) {
    const auto byte = static_cast<unsigned char>(following);
    if ((byte & 0xC0u) != 0x80)
      return {0, 0};
    code = code << 6 | (byte & 0x3Fu);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < lead.smallest || code > 0x10FFFF || surrogate)
    return {0, 0};
  return {code, lead.length};
}

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const Utf8Character character = firstUtf8Character(bytes);
    if (character.length == 0)
      return false;
    bytes.remove_prefix(character.length);
  }
  return true;
}

} // namespace tesker
