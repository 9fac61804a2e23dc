// ApplicationCatalog.h - the applications of some search paths, kept: known at once, found again
// when asked, and told when they differ.
//
//   auto created = tesker::ApplicationCatalog::create(
//       {.tool = "/usr/libexec/tesker/ToolFinder", .paths = {"/Applications"}},
//       [](const tesker::CatalogUpdate &update) { ... });
//   if (auto *catalog = std::get_if<std::unique_ptr<tesker::ApplicationCatalog>>(&created))
//     (*catalog)->refresh();
//     // whenever (*catalog)->descriptor() is readable:
//     (*catalog)->dispatch();
//
// What it answers is what was found last, which a file in the state directory keeps from one
// process to the next. A refresh searches with the answer of last time, so that a tool that finds
// the same says only so. It goes in rounds: the searches that were asked for are made, some at a
// time; when all of them have ended, the records change all at once, and the listener is told.
//
// A search that fails changes nothing. Nor does an answer that the tool calls incomplete, unless
// nothing better is known. And where a search finds nothing because the search path itself is gone
// - a volume that is not mounted - the records stay, too, and count as stale, until the path is
// back.
//
// Where it watches, a path is searched again when what its answer depends on has changed and stayed
// as it is for a moment; what cannot be seen is in SearchPathWatches.h. Where the system has no
// watches left, it looks at intervals instead, and says so once.
//
//                  waits for                           in the callback of the same catalog
//   create()       the saved answers: 0.1 s for 9,000  another catalog: yes
//                  applications
//   refresh()      nothing                             yes
//   descriptor()   nothing                             yes
//   dispatch()     the start of a tool; takes some     does nothing
//                  20 ms, a little longer when a round
//                  ends that brings thousands of
//                  records
//   look-ups       nothing; the first one after a      yes
//                  change takes as long as create()
//   destructor     the end of tools that still run,    yes
//                  four seconds at the very worst
//
// The listener is called by dispatch() only, as the last thing that it does. What it throws leaves
// dispatch(), and so does std::bad_alloc; the catalog stays good, and what the round had found may
// be lost.
//
// Threads, signals, children and fork(2): as FinderSearch.h says.
#pragma once

#include "catalog/AnswerDiff.h"
#include "catalog/Handlers.h"
#include "catalog/Programs.h"
#include "master/SearchOutcome.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tesker {

struct ApplicationCatalogOptions {
  // As FinderMasterOptions has them.
  std::string tool;
  std::string cpu = {};
  std::chrono::nanoseconds timeout = std::chrono::seconds(120);
  bool followLinkCycles = false;
  std::string readAhead = {};

  // Where to search: absolute paths, the most important one first.
  std::vector<std::string> paths = {};
  // How many searches are under way at a time; 0: as many as there are processors.
  std::size_t jobs = 0;
  // Whether answers are kept on disk, and where: empty is $XDG_CACHE_HOME/tesker or
  // ~/.cache/tesker. Other processes of the user can use the same directory meanwhile.
  bool keepsState = true;
  std::string stateDirectory = {};

  // Whether paths that were refreshed once are watched from then on.
  bool watches = false;
  // How long nothing has to happen any more before a path is searched again, and how long that may
  // put the search off.
  std::chrono::milliseconds settleTime{200};
  std::chrono::milliseconds longestSettleTime{2000};
  // How long after a search a path is searched again by itself; 0: never, but for paths that cannot
  // be watched, which are looked at every 30 seconds.
  std::chrono::milliseconds pollInterval{0};

  // Called with each line of a tool's log (FinderMasterOptions::onLogLine); may be empty.
  std::function<void(const std::string &searchPath, std::string_view line)> onLogLine = {};
};

// What is known of one search path.
struct CatalogPathState {
  bool isKnown = false;      // there was an answer, perhaps without records
  bool isIncomplete = false; // and it lacks something
  bool isStale = false;      // its records are kept though the path is gone
  std::int64_t time = 0;     // of the search that has said so last, in seconds since 1970
};

struct CatalogChange : RecordChange {
  std::string_view searchPath;
};

struct CatalogProblem {
  enum class Kind {
    searchFailed, // the records are those of before
    incomplete,   // the answer lacks something; the records are those of before, unless those were
                  // incomplete as well
    pathGone,     // the path is not there; records of before are kept
    notWatched,   // changes are looked for at intervals; told once
    notSaved,     // the answer is not on disk; told once for one reason
  };
  Kind kind;
  std::string searchPath;
  std::string reason; // a phrase
};

// One round's end. What it points to stays until the callback returns or destroys the catalog.
struct CatalogUpdate {
  // How many rounds have changed the records, or their order.
  std::uint64_t generation;
  std::vector<CatalogChange> changes; // path after path; in each as differences() has them
  std::vector<CatalogProblem> problems;
  // The paths of the round; those without a problem are up to date.
  std::vector<std::string_view> searchPaths;
};

class CatalogAnswer;
class CatalogRecords;
class CatalogRounds;
class ReadySet;
struct EndedRound;

class ApplicationCatalog {
public:
  using Listener = std::function<void(const CatalogUpdate &update)>;
  // A catalog, or why there is none (SearchFailure::Kind::cannotSearch).
  using Created = std::variant<std::unique_ptr<ApplicationCatalog>, SearchFailure>;

  // Takes the answers that were saved last, and neither searches nor watches yet. The listener may
  // be empty.
  [[nodiscard]] static Created create(ApplicationCatalogOptions options, Listener listener);
  // Saves what could not be saved before, if it can be now.
  ~ApplicationCatalog();
  ApplicationCatalog(const ApplicationCatalog &) = delete;
  ApplicationCatalog &operator=(const ApplicationCatalog &) = delete;

  // Has all paths searched, or the one; a path that is not among the catalog's is passed over. A
  // path of which the search is under way is searched once more after that round.
  void refresh();
  void refresh(std::string_view searchPath);

  // Readable when there is something to do for dispatch(), and only then; the same for the object's
  // life, and lent for so long. To be watched for reading, level- or edge-triggered.
  int descriptor() const;
  // Does some of what there is to do. May be called at any time.
  void dispatch();

  // ---- look-ups: what is known, lent until the next dispatch() ----

  // In the order of the search paths.
  const std::vector<SearchRecord> &records() const;
  std::span<const SearchRecord> recordsOf(std::string_view searchPath) const;
  const std::vector<Program> &programs() const;
  std::uint64_t generation() const { return generation_; }
  // Of a path that is not among the catalog's, nothing is known.
  CatalogPathState state(std::string_view searchPath) const;
  // Each extension that can be opened, in the order of their bytes.
  std::vector<std::string_view> types() const;
  // The programs that open files with the extension, best first (Handlers.h).
  std::vector<Handler> handlersOf(std::string_view extension,
                                  const PreferredApplications &preferred = {}) const;
  // Those called so (Programs.h).
  std::vector<const Program *> programsCalled(std::string_view nameOrPath) const;

private:
  ApplicationCatalog(ApplicationCatalogOptions options, Listener listener, ReadySet ready);
  struct Told;
  void load();
  void watch();
  std::optional<Told> step();
  Told take(EndedRound &round);
  void endDispatch();

  const ApplicationCatalogOptions options_;
  const std::shared_ptr<const Listener> listener_; // which may destroy this
  std::unique_ptr<ReadySet> ready_;
  std::vector<CatalogAnswer> answers_; // one for each path
  std::unique_ptr<CatalogRecords> records_;
  std::unique_ptr<CatalogRounds> rounds_;
  std::uint64_t generation_ = 0;
  bool *isDestroyed_ = nullptr; // what the destructor says so to; nil unless it is dispatched
};

} // namespace tesker
