#include "command/DisplayText.h"

#include "platform/foundation/Text.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>

namespace tesker {

namespace {

// The character tables of the C library, whatever the person's locale is.
class Utf8Locale {
public:
  Utf8Locale() : before_(::uselocale(tables())) {}
  ~Utf8Locale() { ::uselocale(before_); }
  Utf8Locale(const Utf8Locale &) = delete;
  Utf8Locale &operator=(const Utf8Locale &) = delete;

private:
  // Nil, which leaves the locale as it is, where the system has no such tables.
  static locale_t tables() {
    static const locale_t made = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return made;
  }
  locale_t before_;
};

// Characters that the tables count as printable but that show nothing or reorder their neighbours.
bool isInvisible(char32_t code) {
  struct Range {
    char32_t first, last;
  };
  static constexpr std::array<Range, 8> ranges{{{0x00AD, 0x00AD},
                                                {0x061C, 0x061C},
                                                {0x200B, 0x200F},
                                                {0x2028, 0x202E},
                                                {0x2060, 0x206F},
                                                {0xFEFF, 0xFEFF},
                                                {0xFFF9, 0xFFFB},
                                                {0xE0000, 0xE007F}}};
  for (const Range &range : ranges)
    if (code >= range.first && code <= range.last)
      return true;
  return false;
}

std::string numbered(const char *format, unsigned value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

std::string shown(char32_t code, std::string_view bytes) {
  if (code == '\n')
    return "\\n";
  if (code == '\t')
    return "\\t";
  if (code == '\\')
    return "\\\\";
  if (code < 0x20 || code == 0x7F)
    return numbered("\\x%02x", static_cast<unsigned>(code));
  if (code < 0x7F)
    return std::string(bytes);
  if (::wcwidth(static_cast<wchar_t>(code)) < 0 || isInvisible(code))
    return numbered("\\u{%x}", static_cast<unsigned>(code));
  return std::string(bytes);
}

} // namespace

std::string displayText(std::string_view bytes) {
  const Utf8Locale locale;
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const Utf8Character character = firstUtf8Character(bytes);
    if (character.length == 0) {
      text += numbered("\\x%02x", static_cast<unsigned char>(bytes.front()));
      bytes.remove_prefix(1);
      continue;
    }
    text += shown(character.code, bytes.substr(0, character.length));
    bytes.remove_prefix(character.length);
  }
  return text;
}

std::string displayPlace(std::string_view file, std::size_t line, std::size_t column) {
  std::string text = displayText(file);
  for (const std::size_t number : {line, column})
    if (number != 0)
      text += ":" + std::to_string(number);
  return text;
}

std::size_t displayColumns(std::string_view text) {
  const Utf8Locale locale;
  std::size_t columns = 0;
  while (!text.empty()) {
    const Utf8Character character = firstUtf8Character(text);
    const int width = character.length == 0 ? 1 : ::wcwidth(static_cast<wchar_t>(character.code));
    columns += width > 0 ? static_cast<std::size_t>(width) : 0;
    text.remove_prefix(character.length == 0 ? 1 : character.length);
  }
  return columns;
}

} // namespace tesker
