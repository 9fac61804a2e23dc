#include "master/apps/Arguments.h"

#include "master/apps/DisplayText.h"
#include "platform/mach/HostInfo.h"

#include <CLI/CLI.hpp>

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
  return "unknown processor '" + displayText(text) + "'; known are " + knownCpus() +
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
  void addSearchOptions(CLI::App &command);
  void addFormat(CLI::App &command, std::vector<std::string> names);
  CLI::Option *addFile(CLI::App &command, const std::string &name, std::string &file,
                       const std::string &text);
  void finish();
  std::vector<std::string> &pathsOf(const CLI::App &command);

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
  app_.set_version_flag("--version", "tesker-apps " TESKER_VERSION);
  app_.require_subcommand(1);
  app_.fallthrough();
  CLI::Option *verbose =
      app_.add_flag("-v,--verbose", verbose_, "Print the tool's log lines, as they come");
  app_.add_flag("-q,--quiet", quiet_, "Print no diagnostics but errors")->excludes(verbose);

  list_ = app_.add_subcommand("list", "List the applications in directories");
  listPaths_ = list_
                   ->add_option("PATH", "Directories or applications; without any: the setting\n"
                                        "ApplicationPaths of domain Tesker, or else\n"
                                        "~/Applications, /usr/local/Applications and\n"
                                        "/Applications")
                   ->expected(-1);
  dock_ = app_.add_subcommand("dock", "Look at single applications, with one request for all");
  dockPaths_ = dock_->add_option("PATH", "Applications or directories")->expected(-1);
  addFile(*dock_, "--paths0-from", arguments_.pathListFile,
          "Read the paths from FILE (- is standard input), with NUL characters between them; "
          "they are sent as they are")
      ->excludes(dockPaths_);
  for (CLI::App *command : {list_, dock_}) {
    addFormat(*command, {"table", "json", "jsonl", "raw"});
    addSearchOptions(*command);
  }
  decode_ = app_.add_subcommand("decode", "Print the records of an encoded text");
  addFormat(*decode_, {"table", "json", "jsonl"});
  encode_ = app_.add_subcommand("encode", "Encode records that decode --format json has printed");
  for (CLI::App *command : {decode_, encode_})
    addFile(*command, "FILE", arguments_.input, "The file to read; - is standard input")
        ->required();
}

CLI::Option *Parser::addFile(CLI::App &command, const std::string &name, std::string &file,
                             const std::string &text) {
  return command.add_option(name, file, text)
      ->check(CLI::Validator(checkNotEmpty, "FILE"))
      ->option_text(name.starts_with('-') ? "FILE" : " ");
}

void Parser::addFormat(CLI::App &command, std::vector<std::string> names) {
  static const std::map<std::string, Format> formats{{"table", Format::table},
                                                     {"json", Format::json},
                                                     {"jsonl", Format::jsonl},
                                                     {"raw", Format::raw}};
  command
      .add_option_function<std::string>(
          "--format", [this](const std::string &name) { arguments_.format = formats.at(name); },
          "table (for people; the default), json (one document), jsonl (one record a line)" +
              std::string(names.back() == "raw" ? " or raw (the encoded text, byte for byte)" : ""))
      ->check(CLI::IsMember(std::move(names)))
      ->option_text("FORMAT");
}

void Parser::addSearchOptions(CLI::App &command) {
  addFile(command, "--previous", arguments_.previousFile,
          "The last answer; when nothing has changed, the tool says only so");
  addFile(command, "--save", arguments_.saveFile, "Write the answer's encoded text to FILE, too");
  command
      .add_option("--cpu", arguments_.cpu, "Search as for this processor, by NAME or TYPE/SUBTYPE")
      ->check(CLI::Validator(checkCpu, "NAME"))
      ->option_text("NAME");
  command.add_option("--timeout", seconds_, "Give up a search after this time (120)")
      ->check(CLI::Validator(checkTimeout, "SECONDS"))
      ->option_text("SECONDS");
  addFile(command, "--tool", arguments_.tool, "The tool's program")->option_text("PATH");
}

// The option library takes "[a,b]" for a list and "{}" for an empty one. A path that looks so is
// named in another way.
std::string protectedWord(const std::string &word) {
  return word.starts_with('[') || word.starts_with('{') ? "./" + word : word;
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

std::variant<Arguments, Notice> Parser::parse(const std::vector<std::string> &words) {
  std::vector<std::string> reversed;
  for (auto word = words.rbegin(); word != words.rend(); ++word)
    reversed.push_back(protectedWord(*word));
  try {
    app_.parse(std::move(reversed));
    finish();
    return arguments_;
  } catch (const CLI::ParseError &error) {
    std::ostringstream out, problems;
    if (app_.exit(error, out, problems) == 0)
      return Notice{kDone, out.str()};
    return Notice{kUsage,
                  "tesker-apps: " + std::string(error.what()) + "\nTry 'tesker-apps --help'.\n"};
  }
}

} // namespace

std::variant<Arguments, Notice> parseArguments(const std::vector<std::string> &arguments) {
  return Parser().parse(arguments);
}

} // namespace tesker
