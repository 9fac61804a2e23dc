#include "desktop/ExportedEntry.h"

#include "desktop/DesktopEntry.h"
#include "platform/foundation/Text.h"

#include <algorithm>

namespace tesker {

namespace {

// The text as the value of a key.
std::string escaped(std::string_view text) {
  std::string value;
  for (const char byte : text) {
    if (byte == '\\')
      value += '\\';
    // A blank at the beginning would not be part of the value.
    if (byte == ' ' && value.empty())
      value += "\\s";
    else
      value += byte;
  }
  return value;
}

// The word as the line has it, before the escapes.
std::string quoted(std::string_view word) {
  constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
  constexpr std::string_view escapedInQuotes = "\"`$\\";
  const bool needsQuotes = word.empty() || word.find_first_of(reserved) != word.npos;
  std::string text(needsQuotes ? "\"" : "");
  for (const char byte : word) {
    if (byte == '%')
      text += '%';
    if (escapedInQuotes.find(byte) != std::string_view::npos)
      text += '\\';
    text += byte;
  }
  return text + (needsQuotes ? "\"" : "");
}

} // namespace

bool isEntryText(std::string_view text) {
  return isUtf8(text) && std::ranges::none_of(text, isControl);
}

std::string wordOfExec(std::string_view word) { return escaped(quoted(word)); }

std::string textOf(const ExportedEntry &entry, const std::vector<std::string> &command) {
  std::string text = "# Made by \"tesker-desktop export\", which writes it again.\n"
                     "[Desktop Entry]\nType=Application\nName=" +
                     escaped(entry.name) + "\nExec=";
  for (const std::string &word : command)
    text += wordOfExec(word) + " ";
  text += "%F\n";
  if (!entry.icon.empty())
    text += "Icon=" + escaped(entry.icon) + "\n";
  if (!entry.mimeTypes.empty()) {
    text += "MimeType=";
    for (const std::string &type : entry.mimeTypes)
      text += type + ";";
    text += "\n";
  }
  return text + kExportedKey + "=" + escaped(entry.program) + "\n";
}

} // namespace tesker
