// Arguments.h - what the command line asks for.
#pragma once

#include "command/Output.h"
#include "command/ResultWriter.h"

#include <chrono>
#include <string>
#include <variant>
#include <vector>

namespace tesker {

// What scripts can rely on.
enum class ExitStatus {
  done = 0,
  malformed = 1, // the text to decode or encode
  usage = 2,
  failed = 4,     // a path cannot be searched, a file not read, something not written
  toolFailed = 5, // the tool crashed, timed out or broke the protocol
};

struct Arguments {
  enum class Command { list, dock, decode, encode };
  Command command = Command::list;
  Diagnostics::Level level = Diagnostics::Level::normal;
  Format format = Format::table;
  std::vector<std::string> paths; // list, dock
  std::string pathListFile;       // dock; empty: the paths are in `paths`
  std::string input;              // decode, encode
  std::string previousFile;       // empty: none
  std::string saveFile;           // empty: none
  std::string cpu;                // empty: this machine's
  std::string tool;               // empty: the one that belongs to this command
  std::chrono::nanoseconds timeout = std::chrono::seconds(120);
};

// What to print instead of doing something: help or a version on standard output (done), a usage
// error on standard error (usage).
struct Notice {
  ExitStatus status;
  std::string text; // ends in a line feed
};

std::variant<Arguments, Notice> parseArguments(const std::vector<std::string> &arguments);

} // namespace tesker
