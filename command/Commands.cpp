#include "command/Commands.h"

#include "command/DisplayText.h"
#include "command/Interrupts.h"
#include "command/Output.h"
#include "command/RecordJSON.h"
#include "command/ResultWriter.h"
#include "command/SearchPath.h"
#include "master/FinderMaster.h"
#include "master/SearchOutcome.h"
#include "parsing/RecordEncoding.h"

#include <algorithm>
#include <filesystem>

namespace tesker {

namespace {

// What the tool is asked, once for each.
struct Request {
  bool isDock;
  std::string argument;
  std::vector<std::string> paths; // in the argument

  const char *name() const { return isDock ? "dock" : "list"; }
  std::string key() const { return isDock ? "Dock" : argument; }
};

// A path as an error message names it.
std::string named(const std::string &path) { return path.empty() ? "''" : displayText(path); }

std::string named(const Request &request) {
  return request.isDock ? "dock" : named(request.argument);
}

// Where the tool is installed as seen from the running program's folder
// (../libexec/tesker/ToolFinder, unless the build was told of other folders), so that all can be
// moved together; where there is none, ToolFinder in that folder, as they are built.
std::string toolBesideThisProgram() {
  OperatingSystem &system = OperatingSystem::current();
  const std::string folder = system.programFolder();
  const std::string installed =
      std::filesystem::path(folder + TESKER_TOOL_FROM_PROGRAMS).lexically_normal();
  return system.access(installed.c_str(), F_OK) == 0 ? installed : folder + "ToolFinder";
}

class SearchRun {
public:
  SearchRun(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), diagnostics_(diagnostics),
        writer_(makeResultWriter(arguments.format, output)) {}

  ExitStatus run();

private:
  // Those that answer false have said why.
  bool prepareList();
  bool prepareDock();
  bool takesOneRequest();
  bool readPrevious();
  std::optional<std::string> contentsOf(const std::string &file,
                                        std::optional<Deadline> deadline = std::nullopt);
  void nameUnsearchablePaths();
  void searchAll();
  SearchOutcome ask(const Request &request);
  void write(const Request &request, const SearchOutcome &outcome, const SearchAnswer *answer);
  void take(const Request &request, const SearchOutcome &outcome, const SearchAnswer &answer);
  void take(const Request &request, const SearchOutcome &outcome, const SearchUnchanged &unchanged);
  void take(const Request &request, const SearchOutcome &outcome, const SearchFailure &failure);
  static std::string whyIncomplete(const SearchOutcome &outcome);
  void reportLog(const Request &request, const SearchOutcome &outcome);
  void save(const std::string &text);
  void fail(ExitStatus status, const std::string &text);

  const Arguments &arguments_;
  Diagnostics &diagnostics_;
  const std::unique_ptr<ResultWriter> writer_;
  std::vector<Request> requests_;
  std::optional<std::string> previous_;
  ExitStatus status_ = ExitStatus::done;
};

ExitStatus SearchRun::run() {
  const bool isDock = arguments_.command == Arguments::Command::dock;
  if (isDock ? !prepareDock() : !prepareList())
    return status_;
  if (!takesOneRequest() || !readPrevious())
    return status_;
  nameUnsearchablePaths();
  writer_->begin();
  searchAll();
  writer_->end();
  return status_;
}

// The worst of all is the status of the run.
void SearchRun::fail(ExitStatus status, const std::string &text) {
  status_ = std::max(status_, status);
  diagnostics_.error(text);
}

bool SearchRun::prepareList() {
  std::vector<std::string> paths = arguments_.paths;
  if (paths.empty())
    paths = defaultSearchPaths(NSUserDefaults::standardUserDefaults());
  if (paths.empty()) {
    fail(ExitStatus::failed,
         "no directory to search: name one, set ApplicationPaths in domain Tesker, or make "
         "~/Applications, /usr/local/Applications or /Applications");
    return false;
  }
  for (const std::string &path : paths) {
    const std::string absolute = absoluteSearchPath(path);
    requests_.push_back({false, absolute, {absolute}});
  }
  return true;
}

// The paths come from a file or from the command line, never from both.
bool SearchRun::prepareDock() {
  std::string list;
  if (!arguments_.pathListFile.empty()) {
    std::optional<std::string> bytes = contentsOf(arguments_.pathListFile);
    if (!bytes)
      return false;
    list = std::move(*bytes);
  }
  for (const std::string &path : arguments_.paths) {
    if (&path != &arguments_.paths.front())
      list += '\0';
    list += absoluteSearchPath(path);
  }
  requests_.push_back({true, list, piecesOfPathList(list)});
  return true;
}

bool SearchRun::takesOneRequest() {
  const char *option = arguments_.format == Format::raw   ? "--format raw"
                       : !arguments_.previousFile.empty() ? "--previous"
                       : !arguments_.saveFile.empty()     ? "--save"
                                                          : nullptr;
  if (option == nullptr || requests_.size() == 1)
    return true;
  fail(ExitStatus::usage, std::string(option) + " takes exactly one PATH");
  return false;
}

bool SearchRun::readPrevious() {
  if (arguments_.previousFile.empty())
    return true;
  previous_ = contentsOf(arguments_.previousFile, Deadline::in(arguments_.timeout));
  return previous_.has_value();
}

// Nothing after an error message.
std::optional<std::string> SearchRun::contentsOf(const std::string &file,
                                                 std::optional<Deadline> deadline) {
  Result<std::string> bytes = readInput(file, kLargestContents, deadline);
  if (bytes)
    return std::move(*bytes);
  fail(ExitStatus::failed, fileError(file, bytes.error()));
  return std::nullopt;
}

// The request is sent all the same: what can be searched of it will be.
void SearchRun::nameUnsearchablePaths() {
  for (const Request &request : requests_)
    for (const std::string &path : request.paths)
      if (const std::optional<std::string> why = whyNotSearchable(path))
        fail(ExitStatus::failed, named(path) + ": " + *why);
}

void SearchRun::searchAll() {
  for (const Request &request : requests_) {
    const SearchOutcome outcome = ask(request);
    std::visit([&](const auto &result) { take(request, outcome, result); }, outcome.result);
    if (outcome.incomplete)
      fail(ExitStatus::failed,
           named(request) + ": the answer is incomplete" + whyIncomplete(outcome));
    reportLog(request, outcome);
    // Without a tool the next request has no better chance.
    const auto *failure = std::get_if<SearchFailure>(&outcome.result);
    if (failure != nullptr && failure->kind == SearchFailure::Kind::toolMissing)
      break;
  }
}

// A search that is interrupted cleans up first; the signal then does its work.
SearchOutcome SearchRun::ask(const Request &request) {
  const Interrupts interrupts;
  const FinderMaster master(
      {.tool = arguments_.tool.empty() ? toolBesideThisProgram() : arguments_.tool,
       .cpu = arguments_.cpu,
       .timeout = arguments_.timeout,
       .cancelDescriptor = interrupts.descriptor(),
       .onLogLine = [this](std::string_view line) { diagnostics_.toolLine(line); },
       .logConfinement = diagnostics_.verbose() || arguments_.format == Format::json});
  return request.isDock ? master.findAppsForDockPaths(request.argument, previous_)
                        : master.findAppsInSearchPath(request.argument, previous_);
}

void SearchRun::write(const Request &request, const SearchOutcome &outcome,
                      const SearchAnswer *answer) {
  SearchResult result = resultOf(request.name(), request.key(), answer, outcome.incomplete);
  result.confinement = outcome.confinement;
  writer_->add(result);
}

void SearchRun::take(const Request &request, const SearchOutcome &outcome,
                     const SearchAnswer &answer) {
  save(answer.text);
  write(request, outcome, &answer);
}

void SearchRun::take(const Request &request, const SearchOutcome &outcome,
                     const SearchUnchanged &) {
  save(*previous_);
  write(request, outcome, nullptr);
  if (arguments_.format == Format::raw)
    diagnostics_.note(named(request) + ": unchanged since the previous answer");
}

void SearchRun::take(const Request &request, const SearchOutcome &, const SearchFailure &failure) {
  const bool ours = failure.kind == SearchFailure::Kind::cannotSearch ||
                    failure.kind == SearchFailure::Kind::toolMissing ||
                    failure.kind == SearchFailure::Kind::cancelled;
  fail(ours ? ExitStatus::failed : ExitStatus::toolFailed,
       named(request) + ": " + displayText(failure.reason));
}

// What the tool has said about it, with the colon before it.
std::string SearchRun::whyIncomplete(const SearchOutcome &outcome) {
  for (const std::string &line : outcome.logLines)
    if (line.starts_with(kIncompleteLine))
      return displayText(line.substr(kIncompleteLine.size() - 2));
  return "";
}

// Without -v the tool's lines are only counted, unless they may explain a failure. The one about
// its confinement, which stands in the JSON, explains none.
void SearchRun::reportLog(const Request &request, const SearchOutcome &outcome) {
  constexpr std::size_t most = 5;
  const std::size_t count = outcome.logLineCount - (outcome.confinement ? 1 : 0);
  if (diagnostics_.verbose() || count == 0)
    return;
  if (!std::holds_alternative<SearchFailure>(outcome.result)) {
    diagnostics_.note(named(request) + ": the tool has logged " + std::to_string(count) +
                      (count == 1 ? " line; -v prints it" : " lines; -v prints them"));
    return;
  }
  const std::size_t shown = std::min({most, count, outcome.logLines.size()});
  for (auto line = outcome.logLines.end() - static_cast<std::ptrdiff_t>(shown);
       line != outcome.logLines.end(); ++line)
    diagnostics_.note("the tool says: " + displayText(*line));
}

void SearchRun::save(const std::string &text) {
  if (arguments_.saveFile.empty())
    return;
  if (const Result<> saved = saveFile(arguments_.saveFile, text); !saved)
    fail(ExitStatus::failed, fileError(arguments_.saveFile, saved.error()));
}

// The bytes; when they cannot be read, an error message says why.
Result<std::string> inputOf(const Arguments &arguments, Diagnostics &diagnostics) {
  Result<std::string> bytes = readInput(arguments.input);
  if (!bytes)
    diagnostics.error(fileError(arguments.input, bytes.error()));
  return bytes;
}

} // namespace

ExitStatus searchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return SearchRun(arguments, output, diagnostics).run();
}

ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  Result<std::string> text = inputOf(arguments, diagnostics);
  if (!text)
    return ExitStatus::failed;
  // Looked through first, so that nothing is printed of text that proves malformed.
  EncodedRecords records(*text);
  if (!records.check()) {
    diagnostics.error(inputName(arguments.input) + ": not a list of encoded records");
    return ExitStatus::malformed;
  }
  std::optional<SearchRecord> record;
  const std::unique_ptr<ResultWriter> writer = makeResultWriter(arguments.format, output);
  writer->begin();
  writer->add({"decode", std::nullopt, &*text, false, [&]() -> const SearchRecord * {
                 record = records.next();
                 return record ? &*record : nullptr;
               }});
  writer->end();
  return ExitStatus::done;
}

ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Result<std::string> document = inputOf(arguments, diagnostics);
  if (!document)
    return ExitStatus::failed;
  try {
    output.write(encodeRecords(recordsFromJSON(*document)));
    return ExitStatus::done;
  } catch (const JSONError &error) {
    diagnostics.error(inputName(arguments.input) + ": " + error.what());
    return ExitStatus::malformed;
  }
}

} // namespace tesker
