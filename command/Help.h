// Help.h - what leads a person on: the texts of the help, and what is said of a command line that
// makes no sense.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace tesker {

struct Command;

// What the help ends with: examples and exit statuses; of a command, where these are.
[[nodiscard]] const char *helpFooter();
[[nodiscard]] const char *commandHelpFooter();

// "unknown command 'lst'; did you mean 'list'?" and, in further lines, all that there are.
[[nodiscard]] std::string unknownCommand(std::string_view word);

// What is wrong with words that the parser has refused, as a display text: the first of them that
// it does not know, with the nearest that it does, or else what the error says.
[[nodiscard]] std::string usageProblem(const CLI::App &app, const std::vector<std::string> &words,
                                       const CLI::ParseError &error);

// "Try 'tesker-apps list --help'.", a line of its own; nil: before there is a command.
[[nodiscard]] std::string helpHint(const Command *command);

// The command that the words name: the first that is not an option. Nil when there is none, or none
// of that name.
[[nodiscard]] const Command *commandIn(const std::vector<std::string> &words);

} // namespace tesker
