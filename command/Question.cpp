#include "command/Question.h"

#include "command/DesktopPlaces.h"
#include "command/DisplayText.h"
#include "command/Preferences.h"
#include "command/SearchPath.h"
#include "platform/foundation/OperatingSystem.h"

namespace tesker {

namespace {

// The person's choices, and where there are none, the desktop's.
PreferredApplications choicesOrNote(Diagnostics &diagnostics) {
  PreferredApplications choices = preferencesOrNote(diagnostics);
  std::vector<std::string> problems;
  addWhatIsNotPreferred(choices, importedPreferences(problems));
  for (const std::string &problem : problems)
    diagnostics.note(problem);
  return choices;
}

} // namespace

Question::Question(const Arguments &arguments, Diagnostics &diagnostics)
    : answer(answerFor(arguments, diagnostics)), programs(programsIn(answer.records)),
      preferred(choicesOrNote(diagnostics)), types(programs, preferred) {}

PreferredApplications preferencesOrNote(Diagnostics &diagnostics) {
  for (const std::string &problem : problemsOfPreferences())
    diagnostics.note(problem);
  NSUserDefaults defaults;
  return preferredApplications(defaults);
}

std::optional<std::string> whyNotClaimed(const std::string &file) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, file.c_str(), true, status) == 0 &&
      S_ISDIR(status.st_mode))
    return "a directory; applications claim files, by their extensions";
  if (extensionOf(file).empty())
    return "a file without an extension, which no application can claim";
  return std::nullopt;
}

std::string nothingOpens(std::string_view extension) {
  return "no application opens " + displayText(extension) + " files";
}

std::string nameOrAbsolutePath(const std::string &word) {
  return isPath(word) ? absoluteSearchPath(word) : word;
}

std::string nothingIsCalled(const std::string &word) {
  return (isPath(word) ? "no application was found at " : "no application is called ") +
         displayText(word);
}

std::string nameAndPath(std::string_view name, const Program &program) {
  return displayText(name) + " (" + displayText(program.path) + ")";
}

} // namespace tesker
