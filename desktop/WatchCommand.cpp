// WatchCommand.cpp - --watch: import and export, and both again whenever something has changed.
#include "command/DesktopPlaces.h"
#include "command/SearchPath.h"
#include "desktop/DesktopChanges.h"
#include "desktop/DesktopCommands.h"
#include "desktop/DesktopDirectories.h"
#include "desktop/EntryFiles.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <chrono>
#include <unistd.h>

namespace tesker {

namespace {

using std::chrono::milliseconds;

// Programs are installed file by file; what is done over and over takes a fifth of the time at
// most.
constexpr milliseconds kSettling{500};
constexpr int kRestToWork = 4;

// What cannot be read is said by what reads it.
class Silent final : public Reports {
  void note(const std::string &, std::string_view) override {}
  void fail(const std::string &, std::string_view) override {}
};

void addEntries(DesktopChanges::Wanted &wanted, const DesktopDirectories &directories) {
  Silent silent;
  for (const std::string &data : directories.data) {
    wanted.directories.insert(data + "/applications");
    for (std::string &directory : entryDirectoriesBelow(data + "/applications", silent))
      wanted.directories.insert(std::move(directory));
  }
  for (const std::string &configuration : directories.configuration) {
    wanted.files.insert(configuration + "/mimeapps.list");
    for (const std::string &desktop : directories.desktops)
      wanted.files.insert(configuration + "/" + withoutCase(desktop) + "-mimeapps.list");
  }
  const std::string programs = environmentValue("PATH").value_or("");
  for (const std::string_view directory : piecesOf(programs, ':'))
    if (directory.starts_with('/'))
      wanted.directories.emplace(directory);
}

// What import has made is passed over by export.
void addSearches(DesktopChanges::Wanted &wanted, const std::vector<std::string> &paths) {
  NSUserDefaults defaults;
  for (const std::string &path : paths.empty() ? possibleSearchPaths(defaults) : paths)
    wanted.searchPaths.insert(absoluteSearchPath(path));
  if (paths.empty())
    for (const NSString &file : userDefaultsFiles("Tesker"))
      wanted.files.emplace(file.bytes());
  if (const auto imported = importedApplicationsDirectory())
    wanted.searchPaths.erase(*imported);
}

DesktopChanges::Wanted wantedFor(const DesktopOptions &options) {
  DesktopChanges::Wanted wanted;
  const std::optional<DesktopDirectories> directories = desktopDirectories();
  if (!directories)
    return wanted;
  for (const std::string &data : directories->data)
    wanted.directories.insert(data + "/mime");
  if (options.imports)
    addEntries(wanted, *directories);
  if (options.exports)
    addSearches(wanted, options.paths);
  return wanted;
}

} // namespace

ExitStatus watchCommand(const DesktopOptions &options, Interrupts &interrupts, Output &output) {
  using Level = Diagnostics::Level;
  DesktopChanges changes(interrupts);
  Level level = options.quiet ? Level::quiet : Level::normal;
  milliseconds settling;
  do {
    Diagnostics diagnostics(STDERR_FILENO, options.verbose ? Level::verbose : level, kProgram);
    level = Level::quiet; // what could be noted will have been
    SaidReports reports(diagnostics);
    const auto begin = OperatingSystem::current().steadyTime();
    changes.watch(wantedFor(options), reports);
    if (options.imports)
      (void)importCommand(options, output, diagnostics);
    if (options.exports)
      (void)exportCommand(options, output, diagnostics);
    output.flush();
    if (output.error() != 0)
      return ExitStatus::failed; // which its owner says
    const auto took =
        std::chrono::ceil<milliseconds>(OperatingSystem::current().steadyTime() - begin);
    settling = std::max(kSettling, kRestToWork * took);
  } while (changes.wait(settling));
  return ExitStatus::done;
}

} // namespace tesker
