#include "command/Arguments.h"

#include "command/DisplayText.h"
#include "platform/ports/HostInfo.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

namespace tesker {

namespace {

constexpr double kLongestTimeout = 1e6;

constexpr const char *kFooter =
    "Examples:\n"
    "  tesker-apps list                        the usual places\n"
    "  tesker-apps list /Applications .        two directories\n"
    "  tesker-apps list --format json DIR      for programs to read\n"
    "  tesker-apps list --format raw --save answer DIR\n"
    "  tesker-apps list --previous answer DIR  is anything new?\n"
    "  tesker-apps dock /Apps/Edit.app /Apps/Mail\n"
    "  find /Apps -name '*.app' -print0 | tesker-apps dock --paths0-from -\n"
    "  tesker-apps decode answer\n"
    "  tesker-apps decode --format json answer | tesker-apps encode -\n"
    "\n"
    "Exit status:\n"
    "  0  done; an answer that is unchanged is one, too\n"
    "  1  the text to decode or encode is malformed\n"
    "  2  wrong usage\n"
    "  4  a path cannot be searched, a file cannot be read or written, or the\n"
    "     tool is missing; all answers that there are have been printed\n"
    "  5  the tool crashed, timed out or broke the protocol\n";

std::string knownCpus() {
  std::string names;
  for (const QXArchInfo &processor : knownProcessors())
    names += (names.empty() ? "" : ", ") + std::string(processor.name);
  return names;
}

std::string checkCpu(const std::string &text) {
  if (processorFromText(text))
    return {};
  return "unknown processor '" + text + "'; known are " + knownCpus() +
         ", and TYPE/SUBTYPE in decimal";
}

std::string checkTimeout(const std::string &text) {
  double seconds = 0;
  if (CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) && seconds > 0 &&
      seconds <= kLongestTimeout)
    return {};
  return "must be a number of seconds above 0 and up to 1000000";
}

std::string checkNotEmpty(const std::string &text) {
  return text.empty() ? "must not be empty" : std::string();
}

// The command line while it is put together and taken apart.
class Parser {
public:
  Parser();
  std::variant<Arguments, Notice> parse(const std::vector<std::string> &words);

private:
  CLI::App *addCommand(const char *name, const char *description);
  CLI::Option *addPaths(CLI::App &command, const char *description);
  CLI::Option *addFile(CLI::App &command, const char *name, std::string &file,
                       const char *description);
  void addFormat(CLI::App &command, bool raw);
  void addSearchOptions(CLI::App &command);
  void finish();
  std::string problem(const CLI::ParseError &error) const;

  Arguments arguments_;
  CLI::App app_{"Lists the applications that live in some directories."};
  CLI::App *list_, *dock_, *decode_, *encode_;
  CLI::Option *listPaths_, *dockPaths_;
  double seconds_ = 120;
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

  list_ = addCommand("list", "List the applications in directories");
  listPaths_ = addPaths(*list_, "Directories or applications; without any: the setting\n"
                                "ApplicationPaths of domain Tesker, or else ~/Applications,\n"
                                "/usr/local/Applications and /Applications");
  dock_ = addCommand("dock", "Look at single applications, with one request for all");
  dockPaths_ = addPaths(*dock_, "Applications or directories");
  addFile(*dock_, "--paths0-from", arguments_.pathListFile,
          "Read the paths from FILE (- is standard input), with NUL\n"
          "characters between them; they are sent as they are")
      ->excludes(dockPaths_);
  for (CLI::App *command : {list_, dock_}) {
    addFormat(*command, true);
    addSearchOptions(*command);
  }
  decode_ = addCommand("decode", "Print the records of an encoded text");
  addFormat(*decode_, false);
  encode_ = addCommand("encode", "Encode records that decode --format json has printed");
  for (CLI::App *command : {decode_, encode_})
    addFile(*command, "FILE", arguments_.input, "The file to read; - is standard input")
        ->required()
        ->option_text(" ");
}

CLI::App *Parser::addCommand(const char *name, const char *description) {
  CLI::App *command = app_.add_subcommand(name, description);
  command->footer("The options -v and -q can stand here, too. Examples and exit statuses are in\n"
                  "tesker-apps --help.\n");
  return command;
}

CLI::Option *Parser::addPaths(CLI::App &command, const char *description) {
  return command.add_option("PATH", arguments_.paths, description)->option_text(" ");
}

CLI::Option *Parser::addFile(CLI::App &command, const char *name, std::string &file,
                             const char *description) {
  return command.add_option(name, file, description)
      ->check(CLI::Validator(checkNotEmpty, "FILE"))
      ->option_text("FILE");
}

void Parser::addFormat(CLI::App &command, bool raw) {
  static const std::map<std::string, Format> formats{{"table", Format::table},
                                                     {"json", Format::json},
                                                     {"jsonl", Format::jsonl},
                                                     {"raw", Format::raw}};
  std::vector<std::string> names{"table", "json", "jsonl"};
  std::string description = "table (for people; the default), json (one document),\n"
                            "jsonl (one record a line)";
  if (raw) {
    names.emplace_back("raw");
    description += ", raw (the encoded text, byte for byte)";
  }
  command
      .add_option_function<std::string>(
          "--format", [this](const std::string &name) { arguments_.format = formats.at(name); },
          description)
      ->check(CLI::IsMember(names))
      ->option_text("FORMAT");
}

void Parser::addSearchOptions(CLI::App &command) {
  addFile(command, "--previous", arguments_.previousFile,
          "The last answer; when nothing has changed, the tool says\nonly so");
  addFile(command, "--save", arguments_.saveFile, "Write the answer's encoded text to FILE, too");
  command
      .add_option("--cpu", arguments_.cpu, "Search as for this processor (a name or TYPE/SUBTYPE)")
      ->check(CLI::Validator(checkCpu, "NAME"))
      ->option_text("NAME");
  command.add_option("--timeout", seconds_, "Give up a search after this time (120)")
      ->check(CLI::Validator(checkTimeout, "SECONDS"))
      ->option_text("SECONDS");
  addFile(command, "--tool", arguments_.tool, "The tool's program")->option_text("PATH");
}

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

void Parser::finish() {
  if (verbose_)
    arguments_.level = Diagnostics::Level::verbose;
  if (quiet_)
    arguments_.level = Diagnostics::Level::quiet;
  arguments_.timeout =
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds_));
  if (list_->parsed())
    arguments_.paths = listPaths_->results();
  if (dock_->parsed()) {
    arguments_.command = Arguments::Command::dock;
    arguments_.paths = dockPaths_->results();
    if (arguments_.paths.empty() && arguments_.pathListFile.empty())
      throw CLI::ValidationError("dock", "PATH or --paths0-from is required");
  }
  if (decode_->parsed())
    arguments_.command = Arguments::Command::decode;
  if (encode_->parsed())
    arguments_.command = Arguments::Command::encode;
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
    finish();
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
