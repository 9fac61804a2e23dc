// ExportCommand.cpp - export: desktop entries for the applications that tesker-apps knows.
#include "catalog/Programs.h"
#include "command/Answers.h"
#include "command/DisplayText.h"
#include "command/SearchPath.h"
#include "desktop/DesktopCommands.h"
#include "desktop/DesktopDirectories.h"
#include "desktop/DesktopEntry.h"
#include "desktop/Export.h"
#include "desktop/ExportedTypes.h"
#include "desktop/ImportedWrapper.h"
#include "desktop/MimeTypes.h"
#include "desktop/RunLock.h"

#include <algorithm>
#include <array>
#include <glib.h>
#include <map>

namespace tesker {

namespace {

constexpr const char *kCommand = "tesker-apps";

// Those that can be shown in a menu, but for those that import has made. Of several paths to one
// program the one without links counts, or else the first.
std::vector<const Program *> programsToExport(const std::vector<Program> &programs) {
  std::map<std::string, std::size_t> places;
  std::vector<const Program *> found;
  for (const Program &program : programs) {
    const std::string wrapper(directoryOf(program.path));
    if (!program.hasRecordOf("app") || !program.suitable || importedIdOf(wrapper))
      continue;
    const std::string file =
        OperatingSystem::current().canonicalPath(program.path).value_or(program.path);
    const auto [place, isNew] = places.emplace(file, found.size());
    if (isNew)
      found.push_back(&program);
    else if (program.path == file)
      found[place->second] = &program;
  }
  return found;
}

ExportedApplication applicationOf(const Program &program) {
  ExportedApplication application{program.name, program.path, {}, {}};
  for (const SearchRecord *record : program.records) {
    const std::string_view type = valueOf(*record, "type");
    if (type == "extension" && !valueOf(*record, "name").empty())
      application.extensions.emplace(valueOf(*record, "name"));
    else if (type == "app" && application.icon.empty())
      application.icon = valueOf(*record, "icon");
  }
  return application;
}

// The words before the program's path: by name where the desktop finds it so. What is not in the
// usual places is looked for where it was found.
std::vector<std::string> commandFor(const DesktopOptions &options) {
  const std::string beside = OperatingSystem::current().programFolder() + kCommand;
  std::vector<std::string> words{isInstalled(kCommand) ? kCommand : beside, "open"};
  for (const std::string &path : options.paths)
    words.insert(words.end(), {"--in", absoluteSearchPath(path)});
  words.emplace_back("--with");
  return words;
}

// Has the program read what lies in the directory again. A desktop without it does not need it, or
// its owner is told what is lacking.
void update(const char *program, const std::string &directory, Reports &reports) {
  std::string directoryWord = directory, programWord = program;
  std::array<char *, 3> words{programWord.data(), directoryWord.data(), nullptr};
  int status = 0;
  GError *error = nullptr;
  const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL);
  if (!isInstalled(program))
    reports.note(directory, std::string(program) + " is not installed; the desktop may not know "
                                                   "of it");
  else if (g_spawn_sync(nullptr, words.data(), nullptr, flags, nullptr, nullptr, nullptr, nullptr,
                        &status, &error) == 0 ||
           g_spawn_check_wait_status(status, &error) == 0)
    reports.fail(directory, std::string(program) + ": " + displayText(error->message));
  if (error != nullptr)
    g_error_free(error);
}

void writeNames(Output &output, const char *word, const std::vector<std::string> &names) {
  for (const std::string &name : names)
    output.write(word + displayText(name) + "\n");
}

// Who watches is told of changes alone.
void write(const ExportOutcome &outcome, const DesktopOptions &options, Output &output) {
  if (options.quiet || (options.watch && !outcome.changes("")))
    return;
  writeNames(output, "new      ", outcome.added);
  writeNames(output, "changed  ", outcome.changed);
  writeNames(output, "removed  ", outcome.removed);
  output.write(std::string(options.dryRun ? "would be: " : "") +
               std::to_string(outcome.added.size()) + " new, " +
               std::to_string(outcome.changed.size()) + " changed, " +
               std::to_string(outcome.removed.size()) + " removed, " +
               std::to_string(outcome.unchanged) + " as before\n");
}

ExportedFiles filesFor(const DesktopOptions &options, const Answer &answer,
                       const DesktopDirectories &directories, Reports &reports) {
  MimeTypes types(kExportedTypes);
  for (const std::string &directory : directories.data)
    types.add(directory, reports);
  const std::vector<Program> programs = programsIn(answer.records);
  std::vector<ExportedApplication> applications;
  for (const Program *program : programsToExport(programs))
    applications.push_back(applicationOf(*program));
  return exportedFiles(applications, types.typesOfExtensions(), commandFor(options), reports);
}

} // namespace

ExitStatus exportCommand(const DesktopOptions &options, Output &output, Diagnostics &diagnostics) {
  const std::optional<DesktopDirectories> directories = desktopDirectories();
  if (!directories) {
    diagnostics.error("there is no place for entries: HOME is not set");
    return ExitStatus::failed;
  }
  SaidReports reports(diagnostics);
  std::optional<FileDescriptor> lock;
  if (!options.dryRun) {
    lock = lockFor(exportListIn(directories->own), reports);
    if (!lock)
      return reports.status();
  }
  ExportedFiles files;
  ExitStatus status = ExitStatus::done;
  if (!options.remove) {
    Arguments arguments;
    arguments.paths = options.paths;
    const Answer answer = answerFor(arguments, diagnostics);
    if (!answer.isThere)
      return answer.status;
    status = answer.status;
    files = filesFor(options, answer, *directories, reports);
  }
  // What could not be searched may be there still.
  const Wishes wishes{.change = !options.dryRun,
                      .remove = std::max(status, reports.status()) == ExitStatus::done};
  const ExportOutcome outcome = writeExported(files, directories->own, wishes, reports);
  if (wishes.change && outcome.changes("mime/"))
    update("update-mime-database", directories->own + "/mime", reports);
  if (wishes.change && outcome.changes("applications/"))
    update("update-desktop-database", directories->own + "/applications", reports);
  write(outcome, options, output);
  return std::max(status, reports.status());
}

} // namespace tesker
