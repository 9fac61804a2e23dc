// WatchCommand.cpp - watch: the applications that there are, and what changes from then on.
#include "catalog/ApplicationCatalog.h"
#include "command/ChangeTexts.h"
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/Interrupts.h"
#include "command/JSONItems.h"
#include "command/Searches.h"

#include <algorithm>
#include <map>
#include <span>
#include <unistd.h>

namespace tesker {

namespace {

RecordSource recordsIn(std::span<const SearchRecord> list) {
  return [list]() mutable -> const SearchRecord * {
    if (list.empty())
      return nullptr;
    const SearchRecord &next = list.front();
    list = list.subspan(1);
    return &next;
  };
}

class WatchRun {
public:
  WatchRun(const Arguments &arguments, Output &output, Diagnostics &diagnostics)
      : arguments_(arguments), output_(output), diagnostics_(diagnostics) {}

  ExitStatus run();

private:
  ApplicationCatalogOptions optionsFor(const std::vector<std::string> &paths);
  void serve(Interrupts &interrupts);
  void take(const CatalogUpdate &update);
  void writeApplications(const CatalogUpdate &update);
  void writeDifference(const CatalogUpdate &update);
  void endBatch();
  void say(const CatalogUpdate &update);
  void say(const CatalogProblem &problem);

  const Arguments &arguments_;
  Output &output_;
  Diagnostics &diagnostics_;
  std::unique_ptr<ApplicationCatalog> catalog_;
  ExitStatus status_ = ExitStatus::done;
  int batches_ = 0; // that were written
  bool isOver_ = false;
  std::map<std::string, std::string> said_; // of each path, the last reason
};

ExitStatus WatchRun::run() {
  Searches searches(arguments_, diagnostics_);
  if (!searches.addPaths(arguments_.paths))
    return searches.status();
  std::vector<std::string> paths;
  for (const SearchRequest &request : searches.requests())
    if (std::ranges::find(paths, request.argument) == paths.end())
      paths.push_back(request.argument);
  Interrupts interrupts;
  auto created = ApplicationCatalog::create(optionsFor(paths),
                                            [this](const CatalogUpdate &update) { take(update); });
  if (const auto *failure = std::get_if<SearchFailure>(&created)) {
    diagnostics_.error(failure->reason);
    return ExitStatus::failed;
  }
  catalog_ = std::move(std::get<0>(created));
  catalog_->refresh();
  serve(interrupts);
  return status_;
}

ApplicationCatalogOptions WatchRun::optionsFor(const std::vector<std::string> &paths) {
  using std::chrono::ceil, std::chrono::milliseconds;
  ApplicationCatalogOptions options{.tool = toolFor(arguments_),
                                    .cpu = arguments_.cpu,
                                    .timeout = arguments_.timeout,
                                    .followLinkCycles = arguments_.followLinkCycles,
                                    .paths = paths,
                                    .jobs = arguments_.jobs};
  options.keepsState = arguments_.tool.empty();
  options.readAhead = readAheadFor(arguments_);
  options.watches = true;
  options.pollInterval = ceil<milliseconds>(arguments_.pollInterval);
  options.onLogLine = [this](const std::string &, std::string_view line) {
    diagnostics_.toolLine(line);
  };
  return options;
}

// Until a signal comes, the reader goes, or there was nothing to begin with.
void WatchRun::serve(Interrupts &interrupts) {
  while (!isOver_) {
    pollfd waiting[] = {{interrupts.descriptor(), POLLIN, 0},
                        {catalog_->descriptor(), POLLIN, 0},
                        {STDOUT_FILENO, 0, 0}};
    OperatingSystem::current().poll(waiting, std::size(waiting), -1);
    if (waiting[0].revents != 0 && interrupts.take() != 0)
      return;
    if ((waiting[2].revents & (POLLERR | POLLHUP)) != 0)
      throw ReaderGone();
    if (waiting[1].revents != 0)
      catalog_->dispatch();
  }
}

void WatchRun::take(const CatalogUpdate &update) {
  say(update);
  const bool isKnown = std::ranges::any_of(
      update.searchPaths, [&](std::string_view path) { return catalog_->state(path).isKnown; });
  if (batches_ == 0 && !isKnown) { // no search has come to its end
    status_ = ExitStatus::failed;
    isOver_ = true;
  } else if (batches_ == 0) {
    writeApplications(update);
  } else if (!update.changes.empty()) {
    writeDifference(update);
  }
}

void WatchRun::writeApplications(const CatalogUpdate &update) {
  const std::string text; // there is one, so the answers are not unchanged ones
  const auto writer = makeResultWriter(arguments_.format, output_);
  writer->begin();
  for (const std::string_view path : update.searchPaths)
    writer->add({"watch", std::string(path), &text, catalog_->state(path).isIncomplete,
                 recordsIn(catalog_->recordsOf(path))});
  writer->end({});
  endBatch();
}

void WatchRun::writeDifference(const CatalogUpdate &update) {
  if (arguments_.format == Format::table) {
    output_.write("\n");
    writeChanges(output_, arguments_.table, {update.changes.begin(), update.changes.end()});
  } else {
    for (const CatalogChange &change : update.changes)
      output_.write("{" + schemaMember() + "," +
                    requestMembers("watch", std::string(change.searchPath)) +
                    ",\"change\":" + changeAsJSON(change) + "}\n");
  }
  endBatch();
}

// A reader of lines is told that it has all of them, and the state between is not one.
void WatchRun::endBatch() {
  ++batches_;
  if (arguments_.format == Format::jsonl)
    output_.write("{" + schemaMember() + "," + requestMembers("watch", std::nullopt) +
                  ",\"batch\":" + std::to_string(batches_) + "}\n");
  output_.flush();
}

// What lasts is said once.
void WatchRun::say(const CatalogUpdate &update) {
  std::map<std::string, std::string> reasons;
  for (const CatalogProblem &problem : update.problems) {
    std::string &reason = reasons[problem.searchPath];
    reason += problem.reason;
    if (const auto said = said_.find(problem.searchPath);
        said == said_.end() || said->second != reason)
      say(problem);
  }
  for (const std::string_view path : update.searchPaths)
    said_[std::string(path)] = reasons[std::string(path)];
}

void WatchRun::say(const CatalogProblem &problem) {
  using Kind = CatalogProblem::Kind;
  const std::string &path = problem.searchPath;
  const std::string reason = displayText(problem.reason);
  switch (problem.kind) {
  case Kind::searchFailed:
    return diagnostics_.errorAt(path, reason);
  case Kind::incomplete:
    return diagnostics_.errorAt(path, "the answer is incomplete: " + reason);
  case Kind::pathGone:
    return diagnostics_.errorAt(path, catalog_->state(path).isStale
                                          ? "is not there; what was found there before is kept"
                                          : "is not there");
  case Kind::notWatched:
    return diagnostics_.note(displayText(path) + ": cannot be watched (" + reason +
                             "); it is searched at intervals instead");
  case Kind::notSaved:
    if (diagnostics_.verbose())
      diagnostics_.note(displayText(path) + ": the answer is not kept: " + reason);
  }
}

} // namespace

ExitStatus watchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  return WatchRun(arguments, output, diagnostics).run();
}

} // namespace tesker
