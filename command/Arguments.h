// Arguments.h - what the command line asks for.
#pragma once

#include "command/Output.h"
#include "command/ResultWriter.h"
#include "parsing/Judgement.h"

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tesker {

struct Command;

// What scripts can rely on.
enum class ExitStatus {
  done = 0,
  no = 1, // the text is malformed; nothing answers the question; the answers differ
  usage = 2,
  failed = 4,     // a path cannot be searched, a file not read, something not written or started
  toolFailed = 5, // the tool crashed, timed out or broke the protocol
};

// What make is to make.
struct MakeArguments {
  std::string name;
  std::string executable;         // of a header, empty: none is named
  std::string icon;               // a file; empty: none
  std::vector<std::string> types; // "txt,md:text.png"
  std::string place;              // a folder; of a header a file, empty: standard output
  bool services = false;
};

struct Arguments {
  const Command *command = nullptr; // never nil once it is parsed
  Diagnostics::Level level = Diagnostics::Level::normal;
  Format format = Format::table;
  TableForm table;
  ColourChoice colours = ColourChoice::automatic;
  std::vector<std::string> paths; // where to search; empty: the usual places
  std::vector<std::string> files; // open, why, check
  std::string subject;      // what is asked about, or made; of prefer, help, empty: everything
  std::string application;  // open, prefer: a name or path; empty: none
  std::string pathListFile; // dock; empty: the paths are in `paths`
  std::string input;        // decode, encode; of diff the old answer
  std::string answerFile;   // the answer to ask; empty: one of a search
  std::string previousFile; // empty: none
  std::string saveFile;     // empty: none
  std::string kind;         // check; empty: as the file is
  std::string cpu;          // empty: this machine's
  MakeArguments make;
  std::string tool; // empty: the one that belongs to this command
  std::chrono::nanoseconds timeout = std::chrono::seconds(120);
  std::optional<JudgementCode> code;    // why: only what has this code
  std::optional<JudgementCode> explain; // why: say what this code means
  bool noReadAhead = false;             // leave a tool that waits to itself
  bool followLinkCycles = false;        // enter directories that lead back, too
  std::size_t jobs = 0;                 // searches at a time; 0: as many as there are processors
  std::chrono::nanoseconds pollInterval{0}; // watch; 0: only where nothing can be watched
  bool cached = false;                      // answer from what was found last
  bool all = false;                         // why
  bool print = false;                       // open
  bool forget = false;                      // prefer
  bool exitCode = false;                    // diff
  bool strict = false;                      // check
};

// What to print instead of doing something: help or a version on standard output (done), a usage
// error on standard error (usage).
struct Notice {
  ExitStatus status;
  std::string text; // ends in a line feed
};

std::variant<Arguments, Notice> parseArguments(const std::vector<std::string> &arguments);

} // namespace tesker
