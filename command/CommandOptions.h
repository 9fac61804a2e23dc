// CommandOptions.h - the options and operands of one command, as they are declared.
//
// What several commands take stands here once. An operand's name has no dashes; it is a list where
// the member is one.
#pragma once

#include "command/Arguments.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tesker {

class CommandOptions {
public:
  // Both are borrowed. The values are set while the words are parsed.
  CommandOptions(CLI::App &command, Arguments &itsArguments)
      : arguments(itsArguments), command_(command) {}

  // Any number of words.
  CLI::Option *words(const char *name, std::vector<std::string> &list, const char *description);
  // One word, which may not be empty.
  CLI::Option *word(const char *name, std::string &word, const char *description);
  // An option with one value, which the help calls by a word of its own and which may not be empty.
  CLI::Option *value(const char *name, const char *valueName, std::string &value,
                     const char *description);
  // An option that may stand several times, each time with one value.
  CLI::Option *values(const char *name, const char *valueName, std::vector<std::string> &list,
                      const char *description);
  // An option with one value, a file.
  CLI::Option *file(const char *name, std::string &file, const char *description) {
    return value(name, "FILE", file, description);
  }
  CLI::Option *flag(const char *name, bool &isGiven, const char *description);

  // An option whose value is the word of a judgement.
  CLI::Option *code(const char *name, std::optional<JudgementCode> &code, const char *description);

  // --format, with or without the word raw.
  void format(bool raw);
  // The same of what goes on and on: a table or lines.
  void lines();
  // How a table of these columns is written.
  void table(std::span<const TextColumn> columns);
  // How applications are judged, and for how long.
  void judging();
  // --timeout
  void timeout();
  // --poll
  void pollInterval();
  // --link-cycles
  void linkCycles();
  // How a search is made: the same, and by which tool.
  void search();
  // Where several directories can be searched.
  void jobs();
  // What is kept from one search to the next.
  void lastAnswer();
  // --cached
  void cached();
  // --in: where to search, without operands that say so.
  CLI::Option *places();
  // What every question about an answer takes: its form, and where the answer comes from.
  void question();

  // Asked when all words are parsed; what it says is wrong, if anything, is a usage error. There
  // may be several.
  void check(std::function<std::string()> problem);

  Arguments &arguments;

private:
  void formats(const std::vector<std::string> &names, const std::string &description);

  CLI::App &command_;
  bool noHeader_ = false;
  std::vector<std::function<std::string()>> checks_;
};

} // namespace tesker
