#include "platform/foundation/Text.h"

#include <charconv>
#include <iterator>

namespace tesker {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

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

void appendUtf8(std::string &text, char32_t code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  const unsigned continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  const unsigned lead = continuations == 1 ? 0xC0 : continuations == 2 ? 0xE0 : 0xF0;
  text += static_cast<char>(lead | (code >> (6 * continuations)));
  for (unsigned left = continuations; left-- > 0;)
    text += static_cast<char>(0x80 | ((code >> (6 * left)) & 0x3F));
}

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

std::string withoutCase(std::string_view text) {
  std::string low(text);
  for (char &byte : low)
    byte = withoutCase(byte);
  return low;
}

std::optional<unsigned> digitValue(char byte, unsigned base) {
  unsigned value = base;
  if (byte >= '0' && byte <= '9')
    value = static_cast<unsigned>(byte - '0');
  else if (byte >= 'a' && byte <= 'f')
    value = static_cast<unsigned>(byte - 'a') + 10;
  else if (byte >= 'A' && byte <= 'F')
    value = static_cast<unsigned>(byte - 'A') + 10;
  return value < base ? std::optional(value) : std::nullopt;
}

void appendHexadecimal(std::string &text, std::string_view bytes) {
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 15];
  }
}

void appendHexadecimal(std::string &text, std::uint64_t number) {
  char digits[16];
  const char *end = std::to_chars(digits, std::end(digits), number, 16).ptr;
  text.append(digits, static_cast<std::size_t>(end - digits));
}

std::vector<std::string_view> piecesOf(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos)
      return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string_view withoutSlashesAtItsEnd(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/'))
    path.remove_suffix(1);
  return path;
}

std::string joinedPath(std::string_view directory, std::string_view name) {
  std::string path(directory == "/" ? "" : directory);
  return path.append("/").append(name);
}

bool isAtOrBelow(std::string_view path, std::string_view directory) {
  directory = withoutSlashesAtItsEnd(directory);
  return path.starts_with(directory) &&
         (path.size() == directory.size() || directory == "/" || path[directory.size()] == '/');
}

} // namespace tesker
