#include "command/Arguments.h"

#include "command/CommandOptions.h"
#include "command/Commands.h"
#include "command/DisplayText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <list>

namespace tesker {

namespace {

constexpr const char *kFooter =
    "Examples:\n"
    "  tesker-apps list                        the usual places\n"
    "  tesker-apps list /Applications .        two directories\n"
    "  tesker-apps list --format json DIR      for programs to read\n"
    "  tesker-apps list --format raw --save answer DIR\n"
    "  tesker-apps list --previous answer DIR  is anything new?\n"
    "  tesker-apps diff answer --in DIR        and what is it?\n"
    "  tesker-apps dock /Apps/Edit.app /Apps/Mail\n"
    "  find /Apps -name '*.app' -print0 | tesker-apps dock --paths0-from -\n"
    "  tesker-apps handlers txt                what opens text?\n"
    "  tesker-apps open letter.txt             open it\n"
    "  tesker-apps prefer txt Edit             from now on with Edit\n"
    "  tesker-apps show Edit --in /Apps        what does Edit say of itself?\n"
    "  tesker-apps check Edit.app              what is wrong with it?\n"
    "  tesker-apps decode answer\n"
    "  tesker-apps decode --format json answer | tesker-apps encode -\n"
    "\n"
    "Exit status:\n"
    "  0  done; an answer that is unchanged is one, too\n"
    "  1  the text to decode or encode is malformed; nothing opens the file, or\n"
    "     nothing is called so; diff --exit-code has found something; check has\n"
    "     found an error\n"
    "  2  wrong usage\n"
    "  4  a path cannot be searched, a file cannot be read or written, a program\n"
    "     cannot be started, or the tool is missing; all answers that there are\n"
    "     have been printed\n"
    "  5  the tool crashed, timed out or broke the protocol\n";

constexpr const char *kCommandFooter =
    "The options -v and -q can stand here, too. Examples and exit statuses are in\n"
    "tesker-apps --help.\n";

// The words in the reverse order, as the option library takes them. It has meanings of its own for
// words such as "[a,b]", "{}" and "++", and does not take "--" at its word when paths stand before
// it; a path that looks so is named in another way.
std::vector<std::string> protectedWords(const std::vector<std::string> &words) {
  std::vector<std::string> reversed;
  bool onlyPaths = false;
  for (const std::string &word : words) {
    if (word == "--" && !onlyPaths) {
      onlyPaths = true;
      continue;
    }
    const bool looksLikeOption = onlyPaths && word.starts_with('-') && word != "-";
    const bool isSpecial = word.starts_with('[') || word.starts_with('{') || word == "++";
    reversed.push_back(looksLikeOption || isSpecial ? "./" + word : word);
  }
  std::reverse(reversed.begin(), reversed.end());
  return reversed;
}

// The command line while it is put together and taken apart.
class Parser {
public:
  Parser();
  std::variant<Arguments, Notice> parse(const std::vector<std::string> &words);

private:
  void add(const Command &command);
  std::string problem(const CLI::ParseError &error) const;

  Arguments arguments_;
  CLI::App app_{"Lists the applications that live in some directories, and what they open."};
  std::list<CommandOptions> options_; // each stays where it is
  bool verbose_ = false, quiet_ = false;
};

Parser::Parser() {
  app_.name("tesker-apps");
  app_.footer(kFooter);
  app_.set_version_flag("--version", "tesker-apps " TESKER_VERSION, "Print the version and exit");
  app_.require_subcommand(1);
  app_.fallthrough();
  CLI::Option *verbose =
      app_.add_flag("-v,--verbose", verbose_, "Print the tool's log lines, as they come");
  CLI::Option *quiet = app_.add_flag("-q,--quiet", quiet_, "Print no diagnostics but errors");
  verbose->option_text(" ");
  quiet->excludes(verbose)->option_text(" ");
  for (const Command &command : allCommands())
    add(command);
}

void Parser::add(const Command &command) {
  CLI::App *added = app_.add_subcommand(command.name, command.description);
  added->footer(kCommandFooter);
  added->parse_complete_callback([this, &command] { arguments_.command = &command; });
  command.declare(options_.emplace_back(*added, arguments_));
}

// The option library misses a command before it looks at words that are none.
std::string Parser::problem(const CLI::ParseError &error) const {
  const std::vector<std::string> unknown = app_.remaining();
  if (!app_.get_subcommands().empty() || unknown.empty())
    return error.what();
  const std::string &word = unknown.front();
  return (word.starts_with('-') ? "unknown option '" : "unknown command '") + word + "'";
}

std::variant<Arguments, Notice> Parser::parse(const std::vector<std::string> &words) {
  try {
    app_.parse(protectedWords(words));
    if (verbose_)
      arguments_.level = Diagnostics::Level::verbose;
    if (quiet_)
      arguments_.level = Diagnostics::Level::quiet;
    return arguments_;
  } catch (const CLI::ParseError &error) {
    std::ostringstream out, problems;
    if (app_.exit(error, out, problems) == 0)
      return Notice{ExitStatus::done, out.str()};
    return Notice{ExitStatus::usage,
                  "tesker-apps: " + displayText(problem(error)) + "\nTry 'tesker-apps --help'.\n"};
  }
}

} // namespace

std::variant<Arguments, Notice> parseArguments(const std::vector<std::string> &arguments) {
  return Parser().parse(arguments);
}

} // namespace tesker
