#include "command/DisplayText.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <iterator>

namespace tesker {

namespace {

// Whether every byte is a character of one column that is shown as it is, as in nearly all texts.
bool isShownAsItIs(std::string_view text) {
  return std::ranges::all_of(text,
                             [](char byte) { return byte >= ' ' && byte <= '~' && byte != '\\'; });
}

// The character tables of the C library, whatever the person's locale is, for texts that need them:
// to load them takes as long as to search a small directory.
class Utf8Locale {
public:
  explicit Utf8Locale(std::string_view text)
      : before_(isShownAsItIs(text) ? locale_t{} : ::uselocale(tables())) {}
  ~Utf8Locale() { ::uselocale(before_); }
  Utf8Locale(const Utf8Locale &) = delete;
  Utf8Locale &operator=(const Utf8Locale &) = delete;

private:
  // Nil, which leaves the locale as it is, where the system has no such tables.
  static locale_t tables() {
    static const locale_t made = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return made;
  }
  locale_t before_; // nil, which changes nothing, where the locale was left alone
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

constexpr std::string_view kCut = "\u2026"; // one column
// In narrower ones there would be hardly anything but cuts.
constexpr std::size_t kNarrowestLine = 4;

// The columns of one character; a byte that is not UTF-8 is shown as one replacement character.
std::size_t columnsOf(const Utf8Character &character) {
  const int width = character.length == 0 ? 1 : ::wcwidth(static_cast<wchar_t>(character.code));
  return width > 0 ? static_cast<std::size_t>(width) : 0;
}

// The bytes of what displayText has written for one character, at the beginning of the text.
std::size_t writtenLength(std::string_view text) {
  if (text.size() < 2 || text.front() != '\\')
    return std::max<std::size_t>(firstUtf8Character(text).length, 1);
  if (text[1] == 'u')
    return std::min(text.find('}'), text.size() - 1) + 1;
  return std::min<std::size_t>(text[1] == 'x' ? 4 : 2, text.size());
}

// What cannot be cut.
struct Piece {
  std::string_view text;
  std::size_t columns;
};

std::vector<Piece> piecesToShow(std::string_view text) {
  std::vector<Piece> pieces;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, writtenLength(text));
    const std::size_t columns =
        piece.front() == '\\' ? piece.size() : columnsOf(firstUtf8Character(piece));
    if (columns == 0 && !pieces.empty())
      pieces.back().text = {pieces.back().text.data(), pieces.back().text.size() + piece.size()};
    else
      pieces.push_back({piece, columns});
    text.remove_prefix(piece.size());
  }
  return pieces;
}

// Behind the last piece that fits, from the first on; what they take is taken from the columns.
template <class Iterator> Iterator fitting(Iterator piece, Iterator end, std::size_t &columns) {
  while (piece != end && piece->columns <= columns)
    columns -= piece++->columns;
  return piece;
}

// As much of both ends as fits, the beginning getting at most `head` columns.
std::string shortened(std::string_view text, std::size_t columns, std::size_t head) {
  const Utf8Locale locale(text);
  if (displayColumns(text) <= columns)
    return std::string(text);
  if (columns == 0)
    return "";
  const std::vector<Piece> pieces = piecesToShow(text);
  std::size_t left = std::min(head, columns - 1);
  std::size_t forTail = columns - 1 - left;
  const auto headEnd = fitting(pieces.begin(), pieces.end(), left);
  forTail += left;
  const auto tail = fitting(pieces.rbegin(), std::make_reverse_iterator(headEnd), forTail).base();
  std::string result;
  for (auto piece = pieces.begin(); piece != headEnd; ++piece)
    result += piece->text;
  result += kCut;
  for (auto piece = tail; piece != pieces.end(); ++piece)
    result += piece->text;
  return result;
}

} // namespace

std::string displayText(std::string_view bytes) {
  if (isShownAsItIs(bytes))
    return std::string(bytes);
  const Utf8Locale locale(bytes);
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

std::string counted(std::size_t count, std::string_view one, std::string_view more) {
  std::string text = count == 0 ? "no" : std::to_string(count);
  return text.append(" ").append(count == 1 ? one : more);
}

std::size_t displayColumns(std::string_view text) {
  if (isShownAsItIs(text))
    return text.size();
  const Utf8Locale locale(text);
  std::size_t columns = 0;
  while (!text.empty()) {
    const Utf8Character character = firstUtf8Character(text);
    columns += columnsOf(character);
    text.remove_prefix(character.length == 0 ? 1 : character.length);
  }
  return columns;
}

std::string shortenedPath(std::string_view path, std::size_t columns) {
  return shortened(path, columns, columns / 3);
}

std::vector<std::string> brokenText(std::string_view text, std::size_t columns) {
  if (displayColumns(text) <= columns || columns < kNarrowestLine)
    return {shortened(text, columns, columns)};
  std::vector<std::string> lines;
  std::size_t taken = 0; // of the last line
  for (const std::string_view word : piecesOf(text, ' ')) {
    const std::size_t wordColumns = displayColumns(word);
    if (!lines.empty() && taken + 1 + wordColumns <= columns) {
      lines.back().append(1, ' ').append(word);
      taken += 1 + wordColumns;
    } else if (!word.empty() || lines.empty()) {
      lines.push_back(shortened(word, columns, columns));
      taken = std::min(wordColumns, columns);
    }
  }
  return lines;
}

} // namespace tesker
