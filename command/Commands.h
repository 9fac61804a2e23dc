// Commands.h - the commands of tesker-apps: what each takes, and what it does.
//
// A further command is one more line in the list of Commands.cpp, with a function that declares its
// options there, and one that does it below.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

#include <vector>

namespace tesker {

class CommandOptions;

// Prints data to the output and everything else to the diagnostics, and answers the exit status,
// errors of the output itself not counted.
using RunCommand = ExitStatus(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

struct Command {
  const char *name;
  const char *description; // a line, for the list of commands
  void (*declare)(CommandOptions &options);
  RunCommand *run;
};

// In the order of the help.
[[nodiscard]] const std::vector<Command> &allCommands();

// Ask the tool, and print each answer as it comes.
RunCommand listCommand, dockCommand;
// Between encoded text and what people and programs read.
RunCommand decodeCommand, encodeCommand;
// Questions about an answer.
RunCommand handlersCommand, typesCommand, servicesCommand, showCommand;
// What opens a file, done and decided.
RunCommand openCommand, preferCommand;
// What became of a path in a search.
RunCommand whyCommand;
// What is wrong with a description.
RunCommand checkCommand;
// What describes an application of one's own.
RunCommand makeCommand;
// What has changed from one answer to another, and what changes from now on.
RunCommand diffCommand, watchCommand;
// The same help as --help.
RunCommand helpCommand;

} // namespace tesker
