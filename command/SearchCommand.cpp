// SearchCommand.cpp - list and dock: ask the tool, print its answers.
#include "command/Commands.h"
#include "command/DefaultSearchPaths.h"
#include "command/DisplayText.h"
#include "command/InputFile.h"
#include "command/Interrupts.h"
#include "command/SearchPath.h"
#include "command/ToolLocation.h"
#include "master/FinderMaster.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tesker {

namespace {

// What the tool is asked, once for each.
struct Request {
  bool isDock;
  std::string argument;
  std::vector<std::string> paths; // in the argument
};

class SearchRun {
public:
  SearchRun(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), diagnostics_(diagnostics),
        writer_(makeResultWriter(arguments.format, output)) {}

  ExitStatus run();

private:
  bool prepareList();
  bool prepareDock();
  void nameUnsearchablePaths();
  bool takesOneRequest();
  bool readPrevious();
  void searchAll();
  SearchOutcome ask(const Request &request);
  void take(const Request &request, const SearchAnswer &answer);
  void take(const Request &request, const SearchUnchanged &unchanged);
  void take(const Request &request, const SearchFailure &failure);
  void reportLog(const Request &request, const SearchOutcome &outcome);
  void save(const NSString &text);
  void fail(ExitStatus status, const std::string &text);

  const Arguments &arguments_;
  Diagnostics &diagnostics_;
  const std::unique_ptr<ResultWriter> writer_;
  std::vector<Request> requests_;
  RefPtr<NSString> previous_;
  ExitStatus status_ = kDone;
};

// The worst of all is the status of the run.
void SearchRun::fail(ExitStatus status, const std::string &text) {
  status_ = std::max(status_, status);
  diagnostics_.error(text);
}

// A path as an error message names it.
std::string named(const std::string &path) { return path.empty() ? "''" : displayText(path); }

std::string nameOf(const Request &request) {
  return request.isDock ? "dock" : named(request.argument);
}

// The request is sent all the same: what can be searched of it will be.
void SearchRun::nameUnsearchablePaths() {
  for (const Request &request : requests_)
    for (const std::string &path : request.paths)
      if (const std::optional<std::string> why = whyNotSearchable(path))
        fail(kFailed, named(path) + ": " + *why);
}

bool SearchRun::prepareList() {
  std::vector<std::string> paths = arguments_.paths;
  if (paths.empty())
    paths = defaultSearchPaths(NSUserDefaults::standardUserDefaults());
  if (paths.empty()) {
    fail(kFailed,
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

bool SearchRun::prepareDock() {
  std::string list;
  if (!arguments_.pathListFile.empty()) {
    std::optional<std::string> bytes = readInput(arguments_.pathListFile);
    if (!bytes) {
      fail(kFailed, fileError(arguments_.pathListFile, errno));
      return false;
    }
    list = std::move(*bytes);
  }
  for (const std::string &path : arguments_.paths)
    list +=
        (&path == &arguments_.paths.front() ? "" : std::string(1, '\0')) + absoluteSearchPath(path);
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
  fail(kUsage, std::string(option) + " takes exactly one PATH");
  return false;
}

bool SearchRun::readPrevious() {
  if (arguments_.previousFile.empty())
    return true;
  const std::optional<std::string> bytes = readInput(arguments_.previousFile);
  if (!bytes) {
    fail(kFailed, fileError(arguments_.previousFile, errno));
    return false;
  }
  previous_ = NSString::create(*bytes);
  return true;
}

ExitStatus SearchRun::run() {
  const bool isDock = arguments_.command == Arguments::Command::dock;
  if (isDock ? !prepareDock() : !prepareList())
    return status_;
  if (!takesOneRequest())
    return kUsage;
  if (!readPrevious())
    return status_;
  nameUnsearchablePaths();
  writer_->begin();
  searchAll();
  writer_->end();
  return status_;
}

// A search that is interrupted cleans up first; the signal then does its work.
SearchOutcome SearchRun::ask(const Request &request) {
  const Interrupts interrupts;
  const FinderMaster master(
      {.tool = arguments_.tool.empty() ? toolBesideThisProgram() : arguments_.tool,
       .cpu = arguments_.cpu,
       .timeout = arguments_.timeout,
       .cancelDescriptor = interrupts.descriptor(),
       .onLogLine = [this](std::string_view line) { diagnostics_.toolLine(line); }});
  return request.isDock ? master.findAppsForDockPaths(request.argument, previous_.get())
                        : master.findAppsInSearchPath(request.argument, previous_.get());
}

void SearchRun::searchAll() {
  for (const Request &request : requests_) {
    const SearchOutcome outcome = ask(request);
    std::visit([&](const auto &result) { take(request, result); }, outcome.result);
    reportLog(request, outcome);
    // Without a tool the next request has no better chance.
    const auto *failure = std::get_if<SearchFailure>(&outcome.result);
    if (failure != nullptr && failure->kind == SearchFailure::Kind::toolMissing)
      break;
  }
}

std::string keyOf(const Request &request) { return request.isDock ? "Dock" : request.argument; }
const char *requestName(const Request &request) { return request.isDock ? "dock" : "list"; }

void SearchRun::take(const Request &request, const SearchAnswer &answer) {
  save(*answer.text);
  writer_->add(
      {requestName(request), NSString::create(keyOf(request)), answer.text, answer.records});
}

void SearchRun::take(const Request &request, const SearchUnchanged &) {
  save(*previous_);
  writer_->add({requestName(request), NSString::create(keyOf(request)), nullptr, nullptr});
  if (arguments_.format == Format::raw)
    diagnostics_.note(nameOf(request) + ": unchanged since the previous answer");
}

void SearchRun::take(const Request &request, const SearchFailure &failure) {
  const bool ours = failure.kind == SearchFailure::Kind::cannotSearch ||
                    failure.kind == SearchFailure::Kind::toolMissing ||
                    failure.kind == SearchFailure::Kind::cancelled;
  fail(ours ? kFailed : kToolFailed, nameOf(request) + ": " + displayText(failure.reason));
}

// Without -v the tool's lines are only counted, unless they may explain a failure.
void SearchRun::reportLog(const Request &request, const SearchOutcome &outcome) {
  constexpr std::size_t most = 5;
  if (diagnostics_.verbose() || outcome.logLineCount == 0)
    return;
  if (!std::holds_alternative<SearchFailure>(outcome.result)) {
    diagnostics_.note(
        nameOf(request) + ": the tool has logged " + std::to_string(outcome.logLineCount) +
        (outcome.logLineCount == 1 ? " line; -v prints it" : " lines; -v prints them"));
    return;
  }
  const std::size_t count = std::min(most, outcome.logLines.size());
  for (auto line = outcome.logLines.end() - static_cast<std::ptrdiff_t>(count);
       line != outcome.logLines.end(); ++line)
    diagnostics_.note("the tool says: " + displayText(*line));
}

void SearchRun::save(const NSString &text) {
  if (!arguments_.saveFile.empty() && !saveFile(arguments_.saveFile, text.bytes()))
    fail(kFailed, fileError(arguments_.saveFile, errno));
}

} // namespace

ExitStatus searchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return SearchRun(arguments, output, diagnostics).run();
}

} // namespace tesker
