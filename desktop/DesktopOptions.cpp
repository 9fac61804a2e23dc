#include "desktop/DesktopOptions.h"

#include "command/DisplayText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace tesker {

namespace {

void addCommon(CLI::App &verb, DesktopOptions &options) {
  verb.add_flag("-n,--dry-run", options.dryRun, "Change nothing; say what would be changed")
      ->option_text(" ");
}

void describe(CLI::App &program, DesktopOptions &options) {
  program.set_version_flag("--version", "tesker-desktop " TESKER_VERSION,
                           "Print the version and exit");
  program.require_subcommand(0, 1);
  program.fallthrough();
  CLI::Option *verbose =
      program.add_flag("-v,--verbose", options.verbose, "Name what is passed over, too");
  verbose->option_text(" ");
  program.add_flag("-q,--quiet", options.quiet, "Print nothing but errors")
      ->excludes(verbose)
      ->option_text(" ");
  program.add_flag("--watch", options.watch, "Repeat at each change; without a command, do both")
      ->option_text(" ");

  CLI::App *importing =
      program.add_subcommand("import", "Make wrappers for the applications of this desktop");
  addCommon(*importing, options);
  importing->add_flag("--remove", options.remove, "Remove all that import has made")
      ->option_text(" ");

  CLI::App *exporting =
      program.add_subcommand("export", "Make entries for the applications of tesker-apps");
  exporting->add_option("PATH", options.paths, "Where to search; without one, the usual places")
      ->option_text(" ");
  addCommon(*exporting, options);
  exporting->add_flag("--remove", options.remove, "Remove all that export has made")
      ->option_text(" ");
  importing->parse_complete_callback([&] { options.imports = true; });
  exporting->parse_complete_callback([&] { options.exports = true; });
}

// What the options say together. Throws where they contradict each other.
void settle(DesktopOptions &options) {
  if (options.watch && (options.dryRun || options.remove))
    throw CLI::ExcludesError("--watch", options.remove ? "--remove" : "--dry-run");
  if (options.imports || options.exports)
    return;
  if (!options.watch)
    throw CLI::RequiredError("A command");
  options.imports = options.exports = true;
}

std::string problemOf(const CLI::App &program, const CLI::ParseError &error) {
  const std::vector<std::string> unknown = program.remaining();
  if (unknown.empty())
    return displayText(error.what());
  const bool isOption = unknown.front().starts_with('-');
  return std::string(isOption                            ? "unknown option"
                     : program.get_subcommands().empty() ? "unknown command"
                                                         : "unexpected argument") +
         " '" + displayText(unknown.front()) + "'";
}

} // namespace

std::variant<DesktopOptions, Notice> parseDesktopOptions(const std::vector<std::string> &words) {
  CLI::App program("Makes the applications of the desktop and of tesker-apps known to each other.",
                   "tesker-desktop");
  DesktopOptions options;
  describe(program, options);
  try {
    std::vector<std::string> reversed(words.rbegin(), words.rend()); // as it takes them
    program.parse(reversed);
    settle(options);
  } catch (const CLI::ParseError &error) {
    std::ostringstream out, problems;
    if (program.exit(error, out, problems) == 0)
      return Notice{ExitStatus::done, out.str()};
    const std::vector<CLI::App *> verbs = program.get_subcommands();
    return Notice{ExitStatus::usage,
                  "tesker-desktop: " + problemOf(program, error) + "\nTry 'tesker-desktop " +
                      (verbs.empty() ? "" : verbs.front()->get_name() + " ") + "--help'.\n"};
  }
  return options;
}

} // namespace tesker
