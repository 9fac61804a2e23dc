#include "command/Arguments.h"

#include "command/CommandOptions.h"
#include "command/Commands.h"
#include "command/Help.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <list>

namespace tesker {

namespace {

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
  // The words are borrowed.
  explicit Parser(const std::vector<std::string> &words);
  std::variant<Arguments, Notice> parse();

private:
  void add(const Command &command, bool withOptions);

  const std::vector<std::string> &words_;
  Arguments arguments_;
  CLI::App app_{"Lists the applications that live in some directories, and what they open."};
  std::list<CommandOptions> options_; // each stays where it is
  bool verbose_ = false, quiet_ = false;
};

Parser::Parser(const std::vector<std::string> &words) : words_(words) {
  app_.name("tesker-apps");
  app_.footer(helpFooter());
  app_.set_version_flag("--version", "tesker-apps " TESKER_VERSION, "Print the version and exit");
  app_.require_subcommand(1);
  app_.fallthrough();
  CLI::Option *verbose =
      app_.add_flag("-v,--verbose", verbose_, "Print the tool's log lines, as they come");
  CLI::Option *quiet = app_.add_flag("-q,--quiet", quiet_, "Print no diagnostics but errors");
  verbose->option_text(" ");
  quiet->excludes(verbose)->option_text(" ");
  static const std::map<std::string, ColourChoice> choices{{"auto", ColourChoice::automatic},
                                                           {"always", ColourChoice::always},
                                                           {"never", ColourChoice::never}};
  app_.add_option_function<std::string>(
          "--color", [this](const std::string &word) { arguments_.colours = choices.at(word); },
          "auto (the default: on a terminal, unless NO_COLOR\n"
          "is set), always, never; JSON and raw have none")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN");
  // The options of a command that is not named need not be known where one is, and to put them
  // together takes longer than many a search.
  const auto isNamed = [&](const Command &command) {
    return std::ranges::find(words_, command.name) != words_.end();
  };
  const bool isAnyNamed = std::ranges::any_of(allCommands(), isNamed);
  for (const Command &command : allCommands())
    add(command, !isAnyNamed || isNamed(command));
}

void Parser::add(const Command &command, bool withOptions) {
  CLI::App *added = app_.add_subcommand(command.name, command.description);
  added->footer(commandHelpFooter());
  added->parse_complete_callback([this, &command] { arguments_.command = &command; });
  if (withOptions)
    command.declare(options_.emplace_back(*added, arguments_));
}

std::variant<Arguments, Notice> Parser::parse() {
  try {
    app_.parse(protectedWords(words_));
    if (verbose_)
      arguments_.level = Diagnostics::Level::verbose;
    if (quiet_)
      arguments_.level = Diagnostics::Level::quiet;
    return arguments_;
  } catch (const CLI::ParseError &error) {
    std::ostringstream out, problems;
    if (app_.exit(error, out, problems) == 0)
      return Notice{ExitStatus::done, out.str()};
    return Notice{ExitStatus::usage, "tesker-apps: " + usageProblem(app_, words_, error) + "\n" +
                                         helpHint(commandIn(words_))};
  }
}

} // namespace

std::variant<Arguments, Notice> parseArguments(const std::vector<std::string> &arguments) {
  return Parser(arguments).parse();
}

} // namespace tesker
