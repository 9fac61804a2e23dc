#include "desktop/DesktopEntry.h"

#include "desktop/ExecLine.h"
#include "desktop/KeyFile.h"

#include <algorithm>
#include <glib.h>
#include <memory>

namespace tesker {

namespace {

constexpr const char *kGroup = "Desktop Entry";

bool areIn(const std::vector<std::string> &names, const std::string &name) {
  return std::ranges::find(names, name) != names.end();
}

// The first of the desktops that either list names decides.
bool isForDesktop(const KeyFile &file, const std::vector<std::string> &desktops) {
  const std::vector<std::string> only = file.strings(kGroup, "OnlyShowIn");
  const std::vector<std::string> others = file.strings(kGroup, "NotShowIn");
  for (const std::string &desktop : desktops) {
    if (areIn(only, desktop))
      return true;
    if (areIn(others, desktop))
      return false;
  }
  return only.empty();
}

bool canBeTried(const KeyFile &file) {
  const std::string program = file.string(kGroup, "TryExec").value_or("");
  return program.empty() || isInstalled(program);
}

DesktopEntry entryOf(const KeyFile &file, const std::vector<std::string> &desktops) {
  DesktopEntry entry;
  entry.name = file.string(kGroup, "Name").value_or("");
  entry.localName = file.localString(kGroup, "Name").value_or(entry.name);
  entry.icon = file.string(kGroup, "Icon").value_or("");
  entry.exec = file.string(kGroup, "Exec").value_or("");
  entry.directory = file.string(kGroup, "Path").value_or("");
  entry.mimeTypes = file.strings(kGroup, "MimeType");
  entry.needsTerminal = file.flag(kGroup, "Terminal");
  entry.isActivatable = file.flag(kGroup, "DBusActivatable");
  entry.isShown = !file.flag(kGroup, "NoDisplay") && isForDesktop(file, desktops);
  entry.exportedProgram = file.string(kGroup, kExportedKey).value_or("");
  return entry;
}

// What is wrong with the entry; empty when it can be used.
std::string faultOf(const DesktopEntry &entry) {
  if (entry.name.empty())
    return "it has no Name";
  if (entry.exec.empty())
    return entry.isActivatable ? "" : "it has neither Exec nor DBusActivatable";
  const std::optional<ExecLine> line = parseExec(entry.exec);
  return line ? "" : "its Exec has a quotation mark that is not closed, or no program";
}

} // namespace

bool isInstalled(const std::string &program) {
  const std::unique_ptr<char, decltype(&g_free)> path(g_find_program_in_path(program.c_str()),
                                                      &g_free);
  return path != nullptr;
}

EntryReading readDesktopEntry(std::string_view text, const std::vector<std::string> &desktops) {
  std::string why;
  const std::optional<KeyFile> file = KeyFile::parse(text, why);
  if (!file)
    return {std::nullopt, why};
  if (!file->hasGroup(kGroup))
    return {std::nullopt, "it has no group [Desktop Entry]"};
  if (file->string(kGroup, "Type") != "Application" || file->flag(kGroup, "Hidden") ||
      !canBeTried(*file))
    return {};
  DesktopEntry entry = entryOf(*file, desktops);
  if (std::string fault = faultOf(entry); !fault.empty())
    return {std::nullopt, std::move(fault)};
  if (!entry.exec.empty() && !isInstalled(parseExec(entry.exec)->program()))
    return {};
  return {std::move(entry), {}};
}

} // namespace tesker
