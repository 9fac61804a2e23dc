// tesker-fileop.cpp - the file operations as a command: one operation, exit status 0 when it was
// done, 1 when it was not, 2 when the command line makes no sense. A signal that ends it ends the
// operation first.
#include "fileops/FileOperations.h"
#include "filesystem/BuiltInDefaults.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/NearWords.h"
#include "platform/foundation/OperatingSystem.h"

#include <CLI/CLI.hpp>

#include <array>
#include <csignal>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

namespace {

constexpr int kNotDone = 1;
constexpr int kUsageError = 2;
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// An operation on two paths, as the command line names it.
struct PairOperation {
  bool (*run)(const char *from, const char *to);
  const char *name;
  const char *help;
  const char *from;
  const char *to;
  const char *failure; // with both paths
};

constexpr std::array<PairOperation, 6> kPairOperations{{
    {compressFile, "compress", "Pack and compress a file or directory", "SOURCE", "OUTPUT",
     "Could not compress '%s' into '%s'."},
    {uncompressFile, "uncompress", "Uncompress an archive and extract it", "ARCHIVE", "DIRECTORY",
     "Could not uncompress '%s' in '%s'."},
    {compressZFile, "zcompress", "Compress one file", "INPUT", "OUTPUT",
     "Could not compress the file '%s' into '%s'."},
    {uncompressZFile, "zuncompress", "Uncompress one file", "INPUT", "OUTPUT",
     "Could not uncompress the file '%s' into '%s'."},
    {archiveTarFile, "tar", "Pack a file or directory", "SOURCE", "ARCHIVE",
     "Could not pack '%s' into '%s'."},
    {unarchiveTarFile, "untar", "Extract an archive in a directory", "ARCHIVE", "DIRECTORY",
     "Could not extract '%s' in '%s'."},
}};

struct Arguments {
  std::vector<std::string> programs; // KEY=PATH
  std::string from;
  std::string to;
};

// Nothing to say when the text is KEY=PATH for a program that the operations run.
std::string checkProgram(const std::string &text) {
  const std::size_t sign = text.find('=');
  const std::string key = text.substr(0, sign);
  if (key != "rm" && key != "tar" && key != "compress" && key != "uncompress")
    return "no program is called '" + key + "': it is rm, tar, compress or uncompress";
  if (sign == std::string::npos || sign + 1 == text.size())
    return "the path of '" + key + "' is missing: write " + key + "=/path";
  return {};
}

// What the command line says goes before all other defaults.
void usePrograms(const std::vector<std::string> &programs) {
  const auto chosen = NSDictionary::create();
  for (const std::string &text : programs) {
    const std::size_t sign = text.find('=');
    chosen->setObjectForKey(NSString::create(text.substr(sign + 1)),
                            NSString::create(text.substr(0, sign)));
  }
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  defaults.setVolatileDomain(*chosen, NSArgumentDomain);
  std::vector<NSString> searchList = defaults.searchList();
  searchList.insert(searchList.begin(), NSString::create(NSArgumentDomain));
  defaults.setSearchList(std::move(searchList));
}

// The signal that ends this process once the operation has cleaned up, or 0.
volatile std::sig_atomic_t endingSignal = 0;

void endBy(int signal) {
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

void handleSignal(int signal) {
  if (interruptFileOperation(signal))
    endingSignal = signal;
  else
    endBy(signal);
}

// From now on the signals by which a person or the system ends a program end an operation first.
// One that is ignored, as in the background or by nohup, stays so.
void handleSignals() {
  struct sigaction handling {};
  handling.sa_handler = handleSignal;
  handling.sa_flags = SA_RESTART;
  for (const int signal : kEndingSignals)
    ::sigaddset(&handling.sa_mask, signal);
  for (const int signal : kEndingSignals) {
    struct sigaction before {};
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
      ::sigaction(signal, &handling, nullptr);
  }
}

int finish(bool done, const char *failure, const Arguments &arguments) {
  if (done)
    return 0;
  NSLog("tesker-fileop: " + formatted(failure, {arguments.from, arguments.to}));
  return kNotDone;
}

// Whether the path is a symbolic link with slashes or dots after it, and logged: rm would empty the
// directory that the link leads to, where the link itself was meant.
bool leadsThroughLink(const std::string &path) {
  std::string link = path;
  while (link.ends_with('/') || link.ends_with("/."))
    link.pop_back();
  struct stat status {};
  if (link == path ||
      OperatingSystem::current().statAt(AT_FDCWD, link.c_str(), false, status) != 0 ||
      !S_ISLNK(status.st_mode))
    return false;
  NSLog("tesker-fileop: '%s' means the directory that the symbolic link '%s' leads to; leave the "
        "end out to remove the link, or name the directory itself.",
        {path, link});
  return true;
}

int runOperation(const CLI::App &command, const Arguments &arguments) {
  for (const PairOperation &operation : kPairOperations)
    if (command.got_subcommand(operation.name))
      return finish(operation.run(arguments.from.c_str(), arguments.to.c_str()), operation.failure,
                    arguments);
  const bool done = !leadsThroughLink(arguments.from) && destroyFile(arguments.from.c_str());
  return finish(done, "Could not remove '%s'.", arguments);
}

void describe(CLI::App &command, Arguments &arguments) {
  command.set_version_flag("--version", "tesker-fileop " TESKER_VERSION,
                           "Print the version and exit");
  command.require_subcommand(1);
  command.fallthrough();
  command
      .add_option("--program", arguments.programs,
                  "Run PATH as the program rm, tar, compress or\n"
                  "uncompress, in place of what the defaults say;\n"
                  "may be repeated")
      ->option_text("KEY=PATH")
      ->allow_extra_args(false)
      ->check(checkProgram);
  CLI::App *destroy = command.add_subcommand("destroy", "Remove a file or a whole directory");
  destroy->add_option("PATH", arguments.from, "What to remove")->required()->option_text(" ");
  for (const PairOperation &operation : kPairOperations) {
    CLI::App *subcommand = command.add_subcommand(operation.name, operation.help);
    subcommand->add_option(operation.from, arguments.from, "What to read")
        ->required()
        ->option_text(" ");
    subcommand->add_option(operation.to, arguments.to, "Where to write")
        ->required()
        ->option_text(" ");
  }
}

std::string nearestOperation(std::string_view word) {
  std::vector<std::string_view> names{"destroy"};
  for (const PairOperation &operation : kPairOperations)
    names.emplace_back(operation.name);
  return std::string(nearestWord(word, names));
}

// Says what is wrong with the command line, and where to look next.
void refuse(const CLI::App &command, const CLI::ParseError &error) {
  const std::vector<std::string> unknown = command.remaining();
  const std::vector<CLI::App *> chosen = command.get_subcommands();
  const bool isOption = !unknown.empty() && unknown.front().starts_with('-');
  if (unknown.empty()) {
    NSLog("tesker-fileop: %s", {error.what()});
  } else if (isOption || !chosen.empty()) {
    NSLog("tesker-fileop: " + std::string(isOption ? "unknown option" : "unexpected argument") +
          formatted(" '%s'", {unknown.front()}));
  } else {
    const std::string nearest = nearestOperation(unknown.front());
    NSLog(formatted("tesker-fileop: unknown operation '%s'", {unknown.front()}) +
          (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"));
  }
  NSLog("Try 'tesker-fileop " + (chosen.empty() ? "" : chosen.front()->get_name() + " ") +
        "--help'.");
}

int run(int count, const char *const *words) {
  CLI::App command("Removes, packs and compresses files by the programs that the defaults name.",
                   "tesker-fileop");
  Arguments arguments;
  describe(command, arguments);
  try {
    command.parse(count, words);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == 0)
      return command.exit(error);
    refuse(command, error);
    return kUsageError;
  }
  registerTeskerDefaults();
  usePrograms(arguments.programs);
  handleSignals();
  const int status = runOperation(command, arguments);
  if (endingSignal != 0)
    endBy(endingSignal);
  return status;
}

} // namespace

} // namespace tesker

int main(int count, char **words) {
  try {
    return tesker::run(count, words);
  } catch (const std::exception &problem) {
    tesker::NSLog("tesker-fileop: %s", {problem.what()});
  }
  return tesker::kNotDone;
}
