// ExportedFiles.cpp - what an export is to consist of.
#include "command/DisplayText.h"
#include "desktop/Export.h"
#include "desktop/ExportedEntry.h"
#include "desktop/ExportedIcon.h"
#include "desktop/ExportedTypes.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace tesker {

namespace {

constexpr std::size_t kLargestExportedIcon = std::size_t{16} << 20;
constexpr std::size_t kLongestFileName = 100;

// The same for the same path, in every run: people's own choices name the entry.
std::string digestOf(std::string_view path) {
  std::uint32_t digest = 2166136261U;
  for (const char byte : path)
    digest = (digest ^ static_cast<unsigned char>(byte)) * 16777619U;
  std::string text;
  appendHexadecimal(text, std::uint64_t{digest});
  return text;
}

bool isFileNameCharacter(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '-' || byte == '_';
}

// The application's name as that of files.
std::string plainNameOf(const ExportedApplication &application) {
  std::string name = "tesker-" + application.name.substr(0, kLongestFileName);
  std::ranges::replace_if(
      name, [](char byte) { return !isFileNameCharacter(byte); }, '_');
  return name;
}

class Exported {
public:
  Exported(const std::map<std::string, std::string> &types, const std::vector<std::string> &command,
           Reports &reports)
      : types_(types), command_(command), reports_(reports) {}
  void add(const ExportedApplication &application, const std::string &file);
  ExportedFiles files();

private:
  std::optional<std::string> typeOf(const std::string &extension);
  bool addIcon(const ExportedApplication &application, const std::string &file);

  const std::map<std::string, std::string> &types_;
  const std::vector<std::string> &command_;
  Reports &reports_;
  std::set<std::string> unknown_; // extensions
  ExportedFiles files_;
};

// Nothing when it cannot have one.
std::optional<std::string> Exported::typeOf(const std::string &extension) {
  for (const std::string &spelling : {extension, withoutCase(extension)})
    if (const auto known = types_.find(spelling); known != types_.end())
      return known->second;
  std::optional<std::string> type = exportedTypeFor(extension);
  if (type)
    unknown_.insert(withoutCase(extension));
  return type;
}

bool Exported::addIcon(const ExportedApplication &application, const std::string &file) {
  const std::optional<ExportedIcon> icon = exportedIcon(application.program, application.icon);
  if (!icon)
    return false;
  auto bytes = readOrReport(icon->file, kLargestExportedIcon, reports_);
  if (bytes)
    files_.emplace("icons/hicolor/" + icon->folder + "/" + file + icon->suffix, std::move(*bytes));
  return bytes.has_value();
}

void Exported::add(const ExportedApplication &application, const std::string &file) {
  ExportedEntry entry{.name = application.name, .program = application.program};
  std::set<std::string> types;
  for (const std::string &extension : application.extensions)
    if (const std::optional<std::string> type = typeOf(extension))
      types.insert(*type);
    else
      reports_.note(application.program,
                    "no type can be made for " + displayText(extension) + " files");
  entry.mimeTypes.assign(types.begin(), types.end());
  if (addIcon(application, file))
    entry.icon = file;
  std::vector<std::string> command = command_;
  command.push_back(application.program);
  files_.emplace("applications/" + file + ".desktop", textOf(entry, command));
}

ExportedFiles Exported::files() {
  if (!unknown_.empty())
    files_.emplace("mime/packages/tesker-export.xml", mimePackageFor(unknown_));
  return std::move(files_);
}

} // namespace

ExportedFiles exportedFiles(const std::vector<ExportedApplication> &applications,
                            const std::map<std::string, std::string> &types,
                            const std::vector<std::string> &command, Reports &reports) {
  std::map<std::string, int> times;
  for (const ExportedApplication &application : applications)
    ++times[plainNameOf(application)];
  Exported exported(types, command, reports);
  for (const ExportedApplication &application : applications) {
    if (!isEntryText(application.name) || !isEntryText(application.program)) {
      reports.note(application.program,
                   "its name or path has characters that no entry can have; it is passed over");
      continue;
    }
    const std::string name = plainNameOf(application);
    exported.add(application, times[name] == 1 ? name : name + "-" + digestOf(application.program));
  }
  return exported.files();
}

} // namespace tesker
