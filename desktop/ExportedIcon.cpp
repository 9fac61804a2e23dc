#include "desktop/ExportedIcon.h"

#include "platform/foundation/Files.h"

#include <algorithm>
#include <array>

namespace tesker {

namespace {

constexpr std::size_t kPNGStart = 24; // the size of the picture ends there
constexpr std::array kUsualSizes{512U, 256U, 192U, 128U, 96U, 72U, 64U,
                                 48U,  36U,  32U,  24U,  22U, 16U};

unsigned numberAt(std::string_view bytes, std::size_t offset) {
  unsigned number = 0;
  for (const char byte : bytes.substr(offset, 4))
    number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// The bytes at the beginning of a regular file; nothing when there are fewer.
std::optional<std::string> beginningOf(const std::string &file) {
  const Result<RegularFile> opened = openRegularFile(file.c_str());
  std::string bytes(kPNGStart, '\0');
  if (!opened || OperatingSystem::current().readAt(opened->descriptor.number(), bytes.data(),
                                                   bytes.size(), 0) != kPNGStart)
    return std::nullopt;
  return bytes;
}

std::optional<ExportedIcon> iconIn(const std::string &file) {
  const std::optional<std::string> bytes = beginningOf(file);
  if (!bytes)
    return std::nullopt;
  if (file.ends_with(".svg"))
    return ExportedIcon{file, "scalable/apps", ".svg"};
  if (const std::optional<std::string> folder = folderForPNG(*bytes))
    return ExportedIcon{file, *folder, ".png"};
  return std::nullopt;
}

} // namespace

std::optional<std::string> folderForPNG(std::string_view bytes) {
  if (bytes.size() < kPNGStart || !bytes.starts_with("\x89PNG\r\n\x1a\n"))
    return std::nullopt;
  const unsigned size = std::min(numberAt(bytes, 16), numberAt(bytes, 20));
  for (const unsigned usual : kUsualSizes)
    if (size >= usual)
      return std::to_string(usual) + "x" + std::to_string(usual) + "/apps";
  return std::nullopt;
}

std::optional<ExportedIcon> exportedIcon(const std::string &program, const std::string &icon) {
  if (icon.empty() || icon.find('/') != std::string::npos || icon.find('\0') != std::string::npos)
    return std::nullopt;
  const std::string directory = program.substr(0, program.rfind('/') + 1);
  for (const char *place : {"Resources/", ""})
    if (std::optional<ExportedIcon> found = iconIn(directory + place + icon))
      return found;
  return std::nullopt;
}

} // namespace tesker
