#include "command/Searches.h"

#include "command/DisplayText.h"
#include "command/Interrupts.h"
#include "command/ProgressLine.h"
#include "command/SearchPath.h"
#include "master/SearchesInOrder.h"
#include "parsing/RecordEncoding.h"
#include "protocol/FinderProtocol.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

namespace tesker {

namespace {

// A path as an error message names it.
std::string named(const std::string &path) { return path.empty() ? "''" : displayText(path); }

// Of an empty path among many, which nobody finds otherwise.
std::string placeInList(const SearchRequest &request, const std::string &path) {
  if (!request.isDock || !path.empty())
    return "";
  return " (path " + std::to_string(&path - &request.paths.front() + 1) + ")";
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

// That this process may use.
std::size_t processors() { return std::max<std::size_t>(std::thread::hardware_concurrency(), 1); }

// What the tool has said about it, with the colon before it.
std::string whyIncomplete(const SearchOutcome &outcome) {
  for (const std::string &line : outcome.logLines)
    if (line.starts_with(kIncompleteLine))
      return displayText(line.substr(kIncompleteLine.size() - 2));
  return "";
}

} // namespace

std::string named(const SearchRequest &request) {
  return request.isDock ? "dock" : named(request.argument);
}

std::string toolFor(const Arguments &arguments) {
  return arguments.tool.empty() ? toolBesideThisProgram() : arguments.tool;
}

std::string readAheadFor(const Arguments &arguments) {
  return arguments.noReadAhead ? "" : readAheadBeside(toolBesideThisProgram());
}

std::vector<std::string> usualPlaces(Diagnostics &diagnostics) {
  for (const std::string &problem : problemsOfDefaultSearchPaths())
    diagnostics.note(problem);
  NSUserDefaults defaults; // with the settings as they are now
  return defaultSearchPaths(defaults);
}

bool Searches::addPaths(std::vector<std::string> paths) {
  if (paths.empty())
    paths = usualPlaces(diagnostics_);
  if (paths.empty()) {
    const std::string file = fileOfDefaultSearchPaths();
    fail(ExitStatus::failed,
         "no directory to search: name one, " +
             (file.empty() ? "" : "set ApplicationPaths in " + file + ", ") +
             "or make ~/Applications, /usr/local/Applications or /Applications");
    return false;
  }
  for (const std::string &path : paths) {
    const std::string absolute = absoluteSearchPath(path);
    requests_.push_back({false, absolute, {absolute}});
  }
  return true;
}

void Searches::addDock(std::vector<std::string> paths) {
  std::string list;
  for (const std::string &path : paths) {
    if (&path != &paths.front())
      list += '\0';
    list += path;
  }
  requests_.push_back({true, std::move(list), std::move(paths)});
}

// The worst of all is the status of the run.
void Searches::fail(ExitStatus status, const std::string &text) {
  status_ = std::max(status_, status);
  diagnostics_.error(text);
}

void Searches::failAt(ExitStatus status, const std::string &path, const std::string &text,
                      const std::string &place) {
  status_ = std::max(status_, status);
  diagnostics_.errorAt(path, text, place);
}

void Searches::failFile(const std::string &name, int error) {
  status_ = std::max(status_, ExitStatus::failed);
  diagnostics_.fileError(name, error);
}

void Searches::failSearch(ExitStatus status, const SearchRequest &request,
                          const std::string &text) {
  if (const std::optional<std::string> path = request.path())
    failAt(status, *path, text);
  else
    fail(status, named(request) + ": " + text);
}

// The request is sent all the same: what can be searched of it will be.
void Searches::nameUnsearchablePaths(const std::vector<std::size_t> &numbers) {
  for (const std::size_t number : numbers)
    for (const std::string &path : requests_[number].paths)
      if (const std::optional<std::string> why = whyNotSearchable(path))
        failAt(ExitStatus::failed, path, *why, placeInList(requests_[number], path));
}

// What several searches tell while they are under way, made into what one would.
class SearchesUnderWay {
public:
  SearchesUnderWay(std::size_t count, Diagnostics &diagnostics)
      : diagnostics_(diagnostics),
        progressLine_(diagnostics, Deadline::in(ProgressLine::kTimeBefore)), lines_(count),
        progress_(count) {}

  // Lines come out in the order of the searches.
  void addLine(std::size_t search, std::string_view line) {
    if (search == taken_)
      diagnostics_.toolLine(line);
    else if (diagnostics_.verbose())
      lines_[search].emplace_back(line);
  }
  // Their sum, with the place where this one is.
  void show(std::size_t search, const SearchProgress &progress) {
    progress_[search] = progress;
    SearchProgress sum{.path = progress.path, .directory = progress.directory};
    for (const SearchProgress &one : progress_) {
      sum.directories += one.directories;
      sum.entries += one.entries;
      sum.records += one.records;
    }
    progressLine_.show(sum);
  }
  // Before what the outcome of the first one that is left has to say.
  void beginTaking() { diagnostics_.status(""); }
  void endTaking() {
    ++taken_;
    if (taken_ == lines_.size())
      return;
    for (const std::string &line : lines_[taken_])
      diagnostics_.toolLine(line);
    lines_[taken_].clear();
  }

private:
  Diagnostics &diagnostics_;
  ProgressLine progressLine_;
  std::vector<std::vector<std::string>> lines_; // of those that have to wait
  std::vector<SearchProgress> progress_;
  std::size_t taken_ = 0;
};

void Searches::run(const Take &take) {
  std::size_t taken = 0;
  const auto takeKnown = [&](std::size_t end) {
    for (; taken < end; ++taken)
      if (std::optional<SearchAnswer> &answer = requests_[taken].answer) {
        SearchOutcome outcome{std::move(*answer), false, {}, 0};
        take(requests_[taken], outcome);
      }
  };
  std::vector<std::size_t> unknown;
  for (std::size_t number = 0; number < requests_.size(); ++number)
    if (!requests_[number].answer)
      unknown.push_back(number);
  if (!unknown.empty())
    search(unknown, [&](std::size_t number, SearchOutcome &outcome) {
      takeKnown(number);
      ++taken;
      return takeOutcome(requests_[number], outcome, take);
    });
  takeKnown(requests_.size());
}

void Searches::search(const std::vector<std::size_t> &numbers, const TakeOne &take) {
  nameUnsearchablePaths(numbers);
  Interrupts interrupts;
  SearchesUnderWay underWay(numbers.size(), diagnostics_);
  std::vector<SearchTask> tasks;
  for (const std::size_t number : numbers) {
    const SearchRequest &request = requests_[number];
    tasks.push_back({optionsFor(tasks.size(), underWay),
                     {request.isDock ? FinderSearchRequest::Kind::dockPaths
                                     : FinderSearchRequest::Kind::searchPath,
                      request.argument, request.previous}});
  }
  searchInOrder(
      tasks,
      {.jobs = arguments_.jobs != 0 ? arguments_.jobs : processors(),
       .controlDescriptor = interrupts.descriptor(),
       .control =
           [&] { return interrupts.take() == 1 ? SearchControl::stop : SearchControl::cancel; },
       .take =
           [&](std::size_t search, SearchOutcome &outcome) {
             underWay.beginTaking();
             const bool goesOn = take(numbers[search], outcome);
             underWay.endTaking();
             return goesOn;
           }});
}

bool Searches::takeOutcome(const SearchRequest &request, SearchOutcome &outcome, const Take &take) {
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  if (failure != nullptr)
    say(request, *failure, outcome);
  else
    take(request, outcome);
  incomplete_ = incomplete_ || outcome.incomplete || failure != nullptr;
  if (outcome.cut)
    say(request, *outcome.cut, outcome);
  else if (outcome.incomplete)
    failSearch(ExitStatus::failed, request, "the answer is incomplete" + whyIncomplete(outcome));
  keepLog(request, outcome);
  reportLog(request, outcome);
  // Without a tool the next request has no better chance.
  return failure == nullptr || failure->kind != SearchFailure::Kind::toolMissing;
}

FinderMasterOptions Searches::optionsFor(std::size_t search, SearchesUnderWay &underWay) {
  return {
      .tool = toolFor(arguments_),
      .cpu = arguments_.cpu,
      .timeout = arguments_.timeout,
      .onLogLine = [search, &underWay](std::string_view line) { underWay.addLine(search, line); },
      .logConfinement = diagnostics_.verbose() || arguments_.format == Format::json,
      .readAhead = readAheadFor(arguments_),
      .followLinkCycles = arguments_.followLinkCycles,
      .takesPartialAnswers = true,
      .onProgress =
          [search, &underWay](const SearchProgress &progress) { underWay.show(search, progress); }};
}

// What a time-out is told with: the tool tells ten times a second where it is.
std::string Searches::whereItWas(const SearchRequest &request,
                                 const SearchProgress &progress) const {
  std::ostringstream text;
  text << ", after " << std::chrono::duration<double>(arguments_.timeout).count()
       << " s, while searching " << named(progress.directory);
  if (progress.path != request.argument && progress.path != progress.directory)
    text << " for " << named(progress.path);
  return text.str();
}

void Searches::say(const SearchRequest &request, const SearchFailure &failure,
                   const SearchOutcome &outcome) {
  const std::optional<SearchProgress> &progress = outcome.progress;
  const bool ours = failure.kind == SearchFailure::Kind::cannotSearch ||
                    failure.kind == SearchFailure::Kind::toolMissing ||
                    failure.kind == SearchFailure::Kind::cancelled;
  const bool endedItsWalk =
      failure.kind == SearchFailure::Kind::timedOut && failure.stage == SearchStage::search;
  failSearch(ours ? ExitStatus::failed : ExitStatus::toolFailed, request,
             displayText(failure.reason) +
                 (progress && endedItsWalk ? whereItWas(request, *progress) : "") +
                 (outcome.cut ? "; the answer has what was found until then" : ""));
}

// For the JSON, where the confinement has a member of its own.
void Searches::keepLog(const SearchRequest &request, const SearchOutcome &outcome) {
  for (const std::string &line : outcome.logLines)
    if (!outcome.confinement || line != std::string(kConfinementLine) + *outcome.confinement)
      diagnostics_.keepLogLine(request.path(), line);
}

// Without -v the tool's lines are only counted, unless they may explain a failure. The one about
// its confinement, which stands in the JSON, explains none.
void Searches::reportLog(const SearchRequest &request, const SearchOutcome &outcome) {
  constexpr std::size_t most = 5;
  const std::size_t skipped = outcome.skippedLinks;
  // What is told by other words is not counted: the confinement, links, and that it was stopped.
  const std::size_t told = skipped + (outcome.confinement ? 1 : 0) + (outcome.cut ? 1 : 0);
  const std::size_t count = outcome.logLineCount - std::min(outcome.logLineCount, told);
  if (skipped > 0 && !diagnostics_.verbose())
    diagnostics_.note(
        named(request) + ": " + std::to_string(skipped) +
        (skipped == 1
             ? " link that leads back to a directory above it was skipped; -v names it"
             : " links that lead back to directories above them were skipped; -v names them"));
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

} // namespace tesker
