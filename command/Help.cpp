#include "command/Help.h"

#include "command/Commands.h"
#include "command/DisplayText.h"
#include "platform/foundation/NearWords.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace tesker {

namespace {

constexpr std::size_t kColumns = 80;

bool isOption(std::string_view word) { return word.size() > 1 && word.starts_with('-'); }

const Command *commandCalled(std::string_view name) {
  const auto &commands = allCommands();
  const auto found = std::ranges::find(commands, name, &Command::name);
  return found == commands.end() ? nullptr : &*found;
}

std::string inQuotes(std::string_view word) { return "'" + displayText(word) + "'"; }

// "unknown option '--colour'; did you mean '--color'?"
std::string unknown(std::string_view what, std::string_view word,
                    const std::vector<std::string> &known) {
  const std::vector<std::string_view> views(known.begin(), known.end());
  const std::string_view nearest = nearestWord(word, views);
  return "unknown " + std::string(what) + " " + inQuotes(word) +
         (nearest.empty() ? "" : "; did you mean " + inQuotes(nearest) + "?");
}

// The words with commas between them, in as many lines as it takes.
std::string listed(std::string sentence, const std::vector<std::string> &words) {
  for (const std::string &word : words)
    sentence += " " + word + (&word == &words.back() ? "." : ",");
  std::string text;
  for (const std::string &line : brokenText(sentence, kColumns))
    text += (text.empty() ? "" : "\n") + line;
  return text;
}

std::vector<std::string> commandNames() {
  std::vector<std::string> names;
  for (const Command &command : allCommands())
    names.emplace_back(command.name);
  return names;
}

void addLongOptions(std::vector<std::string> &names, const CLI::App &app) {
  for (const CLI::Option *option : app.get_options())
    for (const std::string &name : option->get_lnames())
      names.push_back("--" + name);
}

std::string unknownOption(const CLI::App &app, const CLI::App *command, std::string_view word) {
  const std::string name(word.substr(0, word.find('=')));
  const auto takesIt = [&](const CLI::App *one) {
    return one->get_option_no_throw(name) != nullptr;
  };
  if (command == nullptr && std::ranges::any_of(app.get_subcommands(nullptr), takesIt))
    return "the option " + inQuotes(name) + " stands behind a command";
  std::vector<std::string> known;
  if (command != nullptr)
    addLongOptions(known, *command);
  addLongOptions(known, app);
  // One letter is near every other.
  return name.starts_with("--") ? unknown("option", name, known) : unknown("option", name, {});
}

} // namespace

const char *helpFooter() {
  return "Examples:\n"
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
         "  tesker-apps make wrapper --name Edit --executable edit.sh --types txt,md DIR\n"
         "  tesker-apps decode answer\n"
         "  tesker-apps decode --format json answer | tesker-apps encode -\n"
         "\n"
         "Exit status:\n"
         "  0  done; an answer that is unchanged is one, too\n"
         "  1  the text to decode or encode is malformed; nothing opens the file, or\n"
         "     nothing is called so; diff --exit-code has found something; check has\n"
         "     found an error, or would complain of what is to be made\n"
         "  2  wrong usage\n"
         "  4  a path cannot be searched, a file cannot be read or written, a program\n"
         "     cannot be started, or the tool is missing; all answers that there are\n"
         "     have been printed\n"
         "  5  the tool crashed, timed out or broke the protocol\n";
}

const char *commandHelpFooter() {
  return "The options -v, -q and --color can stand here, too. Examples and exit statuses\n"
         "are in tesker-apps --help.\n";
}

std::string unknownCommand(std::string_view word) {
  const std::vector<std::string> names = commandNames();
  return unknown("command", word, names) + "\n" + listed("The commands are", names);
}

const Command *commandIn(const std::vector<std::string> &words) {
  const auto word = std::ranges::find_if_not(words, isOption);
  return word == words.end() ? nullptr : commandCalled(*word);
}

// The option library has the words that it does not know in one list, whichever command they are
// behind, and looks at them last.
std::string usageProblem(const CLI::App &app, const std::vector<std::string> &words,
                         const CLI::ParseError &error) {
  const std::vector<std::string> unknown = app.remaining();
  if (const Command *command = commandIn(words)) {
    if (unknown.empty())
      return displayText(error.what());
    const std::string &word = unknown.front();
    return isOption(word) ? unknownOption(app, app.get_subcommand(command->name), word)
                          : "unexpected argument " + inQuotes(word);
  }
  if (unknown.empty())
    return "a command is missing\n" + listed("The commands are", commandNames());
  return isOption(unknown.front()) ? unknownOption(app, nullptr, unknown.front())
                                   : unknownCommand(unknown.front());
}

std::string helpHint(const Command *command) {
  // The help on help does not name what it can be asked for.
  const bool isAboutOne = command != nullptr && command->run != helpCommand;
  return "Try 'tesker-apps " + (isAboutOne ? command->name + std::string(" ") : "") + "--help'.\n";
}

ExitStatus helpCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const std::string &name = arguments.subject;
  if (!name.empty() && commandCalled(name) == nullptr) {
    diagnostics.error(unknownCommand(name));
    return ExitStatus::usage;
  }
  const auto help = parseArguments(name.empty() ? std::vector<std::string>{"--help"}
                                                : std::vector<std::string>{name, "--help"});
  output.write(std::get<Notice>(help).text);
  return ExitStatus::done;
}

} // namespace tesker
