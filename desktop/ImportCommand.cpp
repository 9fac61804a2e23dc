// ImportCommand.cpp - import: wrappers for the applications that the desktop has.
#include "command/DesktopPlaces.h"
#include "command/DisplayText.h"
#include "command/SearchPath.h"
#include "desktop/DesktopCommands.h"
#include "desktop/Import.h"
#include "desktop/RunLock.h"

#include <algorithm>

namespace tesker {

namespace {

using Change = ImportChange::Kind;

const char *wordFor(Change kind) {
  switch (kind) {
  case Change::added:
    return "new      ";
  case Change::changed:
    return "changed  ";
  case Change::removed:
    break;
  }
  return "removed  ";
}

std::string countOf(const ImportOutcome &outcome, Change kind) {
  return std::to_string(std::ranges::count(outcome.changes, kind, &ImportChange::kind));
}

// Who watches is told of changes alone.
void write(const ImportOutcome &outcome, const DesktopOptions &options, Output &output) {
  if (options.quiet || (options.watch && outcome.changes.empty() && !outcome.changesPreferences))
    return;
  for (const ImportChange &change : outcome.changes)
    output.write(wordFor(change.kind) + displayText(change.wrapper) + "  " +
                 displayText(change.id) + "\n");
  output.write(std::string(options.dryRun ? "would be: " : "") + countOf(outcome, Change::added) +
               " new, " + countOf(outcome, Change::changed) + " changed, " +
               countOf(outcome, Change::removed) + " removed, " +
               std::to_string(outcome.unchanged) + " as before; " +
               (outcome.changesPreferences ? "the desktop's defaults changed\n"
                                           : "the desktop's defaults as before\n"));
}

// Who names the places to search has to name this one, too.
void noteWhereSearched(const ImportPlaces &places, Diagnostics &diagnostics) {
  NSUserDefaults defaults;
  const std::vector<std::string> searched = possibleSearchPaths(defaults);
  if (std::ranges::find(searched, places.applications) == searched.end())
    diagnostics.note("ApplicationPaths in " + fileOfDefaultSearchPaths() + " does not name " +
                     displayText(places.applications) + ", so it is not among the usual places");
}

} // namespace

ExitStatus importCommand(const DesktopOptions &options, Output &output, Diagnostics &diagnostics) {
  const std::optional<DesktopDirectories> directories = desktopDirectories();
  if (!directories) {
    diagnostics.error("there is no place for wrappers: HOME is not set");
    return ExitStatus::failed;
  }
  const ImportPlaces places{*importedApplicationsDirectory(), *importedPreferencesFile()};
  SaidReports reports(diagnostics);
  std::optional<FileDescriptor> lock;
  if (!options.dryRun) {
    lock = lockFor(places.applications, reports);
    if (!lock)
      return reports.status();
  }
  const Desktop desktop = options.remove ? Desktop() : desktopIn(*directories, reports);
  // What could not be read may be there still.
  const Wishes wishes{.change = !options.dryRun, .remove = reports.status() == ExitStatus::done};
  const ImportOutcome outcome = importDesktop(desktop, places, wishes, reports);
  write(outcome, options, output);
  if (!options.remove && !options.dryRun)
    noteWhereSearched(places, diagnostics);
  return reports.status();
}

} // namespace tesker
