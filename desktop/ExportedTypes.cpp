#include "desktop/ExportedTypes.h"

#include "desktop/ExportedEntry.h"
#include "platform/foundation/Text.h"

namespace tesker {

namespace {

std::string xmlText(std::string_view text) {
  std::string escaped;
  for (const char byte : text)
    switch (byte) {
    case '&':
      escaped += "&amp;";
      break;
    case '<':
      escaped += "&lt;";
      break;
    case '>':
      escaped += "&gt;";
      break;
    case '"':
      escaped += "&quot;";
      break;
    default:
      escaped += byte;
    }
  return escaped;
}

bool isTypeCharacter(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '-';
}

} // namespace

std::optional<std::string> exportedTypeFor(std::string_view extension) {
  if (extension.empty() || !isEntryText(extension) ||
      extension.find_first_of("*?[]\\/:") != std::string_view::npos)
    return std::nullopt;
  std::string type(kExportedTypes);
  for (const char byte : withoutCase(extension))
    if (isTypeCharacter(byte)) {
      type += byte;
    } else {
      type += '_';
      appendHexadecimal(type, std::string_view(&byte, 1));
    }
  return type;
}

std::string mimePackageFor(const std::set<std::string> &extensions) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!-- Made by \"tesker-desktop export\", which writes it again. -->\n"
      "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n";
  for (const std::string &extension : extensions)
    text += "  <mime-type type=\"" + exportedTypeFor(extension).value_or("") + "\">\n" +
            "    <comment>" + xmlText(extension) + " file</comment>\n" + "    <glob pattern=\"*." +
            xmlText(extension) + "\"/>\n" + "  </mime-type>\n";
  return text + "</mime-info>\n";
}

} // namespace tesker
