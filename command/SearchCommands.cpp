// SearchCommands.cpp - list and dock: one answer after the other, as the tool gives them.
#include "catalog/Programs.h"
#include "command/Commands.h"
#include "command/KnownAnswers.h"
#include "command/Launch.h"
#include "command/SearchPath.h"
#include "command/Searches.h"
#include "parsing/RecordEncoding.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>

namespace tesker {

namespace {

bool isUnsuitable(const SearchRecord &record) { return valueOf(record, "suitable") == "no"; }

// What the person has to hear who looks for an application that is ready to be used; nothing when
// there is one.
const char *whatIsMissing(const std::vector<SearchRecord> &records) {
  if (records.empty())
    return "no application was found";
  if (std::ranges::none_of(records, isUnsuitable) ||
      std::ranges::any_of(programsIn(records), &Program::suitable))
    return nullptr;
  return "no application is suitable for the processor";
}

// The paths of a dock request at and below which no record's program lies. Those that are not
// absolute have been told of.
std::vector<std::string> pathsWithoutRecords(const SearchRequest &request,
                                             const SearchAnswer &answer) {
  std::set<std::string, std::less<>> missing;
  if (!request.isDock)
    return {};
  for (const std::string &path : request.paths)
    if (path.starts_with('/'))
      missing.insert(tidied(path));
  for (const SearchRecord &record : answer.records)
    for (std::string_view path = valueOf(record, "path"); !path.empty() && !missing.empty();
         path = directoryOf(path))
      if (const auto found = missing.find(path); found != missing.end())
        missing.erase(found);
  std::vector<std::string> paths;
  for (const std::string &path : request.paths)
    if (path.starts_with('/') && missing.erase(tidied(path)) != 0)
      paths.push_back(path);
  return paths;
}

// Whether the tool has said that it met something that is not in its answer, or not all of it.
bool tellsOfLacks(const SearchOutcome &outcome) {
  return outcome.incomplete || std::ranges::any_of(outcome.logLines, [](const std::string &line) {
           return line.starts_with("*** Applications Finder: ") &&
                  !line.starts_with(kSkippedLinkLine); // what is behind it is in the answer
         });
}

// What the answer lacks, as far as that can be told without another search, and who says why; empty
// when nothing is known to be missing.
std::string lackOf(const SearchRequest &request, const SearchAnswer &answer,
                   const SearchOutcome &outcome) {
  constexpr std::size_t kMostNamed = 3;
  std::vector<std::string> words{"why", request.isDock ? "PATH" : request.argument};
  std::string lack;
  if (const char *none = whatIsMissing(answer.records)) {
    lack = none;
  } else if (std::vector<std::string> missing = pathsWithoutRecords(request, answer);
             !missing.empty()) {
    lack = "no application was found at " + std::to_string(missing.size()) + " of " +
           std::to_string(request.paths.size()) + " paths";
    missing.resize(std::min(missing.size(), kMostNamed));
    words.resize(1);
    std::ranges::move(missing, std::back_inserter(words));
  } else if (tellsOfLacks(outcome)) {
    lack = "not all that was met is in the answer";
  } else {
    return {};
  }
  return named(request) + ": " + lack + "; " + shellLine("tesker-apps", words) + " says why";
}

class SearchRun {
public:
  SearchRun(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), diagnostics_(diagnostics),
        writer_(makeResultWriter(arguments.format, output, arguments.table)),
        searches_(arguments, diagnostics) {}

  ExitStatus list();
  ExitStatus dock();

private:
  // Those that answer false or nothing have said why.
  bool takesOneRequest();
  bool readPrevious();
  std::optional<std::vector<std::string>> dockPaths();
  std::optional<std::string> contentsOf(const std::string &file,
                                        std::optional<Deadline> deadline = std::nullopt);
  ExitStatus search();
  void take(const SearchRequest &request, const SearchOutcome &outcome);
  void save(const std::string &text);

  const Arguments &arguments_;
  Diagnostics &diagnostics_;
  const std::unique_ptr<ResultWriter> writer_;
  Searches searches_;
  std::vector<std::string> lacks_; // said at the end
};

ExitStatus SearchRun::list() {
  return searches_.addPaths(arguments_.paths) ? search() : searches_.status();
}

ExitStatus SearchRun::dock() {
  std::optional<std::vector<std::string>> paths = dockPaths();
  if (!paths)
    return searches_.status();
  searches_.addDock(std::move(*paths));
  return search();
}

ExitStatus SearchRun::search() {
  if (!takesOneRequest() || !readPrevious())
    return searches_.status();
  writer_->begin();
  KnownAnswers known(arguments_, diagnostics_);
  if (arguments_.cached)
    known.prepare(searches_);
  searches_.run([&](const SearchRequest &request, SearchOutcome &outcome) {
    if (arguments_.cached)
      known.take(request, outcome);
    take(request, outcome);
  });
  writer_->end(diagnostics_.problems());
  for (const std::string &lack : lacks_)
    diagnostics_.note(lack);
  return searches_.status();
}

// The paths come from a file or from the command line, never from both.
std::optional<std::vector<std::string>> SearchRun::dockPaths() {
  if (!arguments_.pathListFile.empty()) {
    const std::optional<std::string> list = contentsOf(arguments_.pathListFile);
    return list ? std::optional(piecesOfPathList(*list)) : std::nullopt;
  }
  std::vector<std::string> paths;
  for (const std::string &path : arguments_.paths)
    paths.push_back(absoluteSearchPath(path));
  return paths;
}

bool SearchRun::takesOneRequest() {
  const char *option = arguments_.format == Format::raw   ? "--format raw"
                       : !arguments_.previousFile.empty() ? "--previous"
                       : !arguments_.saveFile.empty()     ? "--save"
                                                          : nullptr;
  if (option == nullptr || searches_.requests().size() == 1)
    return true;
  searches_.fail(ExitStatus::usage, std::string(option) + " takes exactly one PATH");
  return false;
}

bool SearchRun::readPrevious() {
  if (arguments_.previousFile.empty())
    return true;
  SearchRequest &request = searches_.requests().front();
  request.previous = contentsOf(arguments_.previousFile, Deadline::in(arguments_.timeout));
  return request.previous.has_value();
}

std::optional<std::string> SearchRun::contentsOf(const std::string &file,
                                                 std::optional<Deadline> deadline) {
  Result<std::string> bytes = readInput(file, kLargestContents, deadline);
  if (bytes)
    return std::move(*bytes);
  searches_.failFile(file, bytes.error());
  return std::nullopt;
}

void SearchRun::take(const SearchRequest &request, const SearchOutcome &outcome) {
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  if (!outcome.cut) // a part cannot be compared with
    save(answer != nullptr ? answer->text : *request.previous);
  SearchResult result = resultOf(request.name(), request.key(), answer, outcome.incomplete);
  result.confinement = outcome.confinement;
  writer_->add(result);
  if (answer == nullptr && arguments_.format == Format::raw)
    diagnostics_.note(named(request) + ": unchanged since the previous answer");
  if (answer != nullptr && !outcome.cut)
    if (std::string lack = lackOf(request, *answer, outcome); !lack.empty())
      lacks_.push_back(std::move(lack));
}

void SearchRun::save(const std::string &text) {
  if (arguments_.saveFile.empty())
    return;
  if (const Result<> saved = saveFile(arguments_.saveFile, text); !saved)
    searches_.failFile(arguments_.saveFile, saved.error());
}

} // namespace

ExitStatus listCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return SearchRun(arguments, output, diagnostics).list();
}

ExitStatus dockCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return SearchRun(arguments, output, diagnostics).dock();
}

} // namespace tesker
