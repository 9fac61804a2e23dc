// FinderSearch.h - a search that never waits, for a host with an event loop of its own.
//
//   auto started = tesker::FinderSearch::start(
//       {.tool = "/usr/libexec/tesker/ToolFinder"}, {.argument = "/Applications"},
//       [](tesker::SearchOutcome outcome) { ... });
//   if (auto *search = std::get_if<std::unique_ptr<tesker::FinderSearch>>(&started))
//     // whenever (*search)->descriptor() is readable:
//     (*search)->dispatch();
//
// Searches are as FinderMaster.h says: a tool process of its own for each, a private directory, a
// deadline that nothing outlives. Several may run at a time in one process.
//
// The end is told exactly once, by dispatch(), after everything else: process, directory and
// descriptors are gone then, except the one that descriptor() gives. What it cannot end within two
// seconds - a process that the kernel or a tracer keeps, a directory that is filled for as long as
// it is emptied - is left behind.
//
//                  waits for                            in a callback
//   start()        the directory and the fork           another search: yes
//   descriptor()   nothing                              yes
//   dispatch()     nothing; takes some 20 ms at most    of the same search: does nothing
//   cancel()       nothing                              yes
//   stop()         nothing                              yes
//   hasEnded()     nothing                              yes
//   destructor     the end of a tool that still runs,   only in onEnd
//                  six seconds at the very worst
//
// A single message, or a single record, of hundreds of megabytes takes dispatch() longer, as
// copying it does.
//
// Callbacks are called by dispatch() only. What onLogLine or onProgress throws leaves dispatch(),
// and the search can go on, without the lines that had come with that one; a std::bad_alloc counts
// as lack of memory, which is a failed search. What onEnd throws leaves dispatch() as well.
//
// Threads: each search is used by one thread at a time. Searches of different threads have nothing
// in common; the environment must not change while one starts. The process's signals, its working
// directory and its other children are left alone: a host that reaps the tool or ignores SIGCHLD
// takes its exit status away, which then counts as unknown.
//
// After fork(2) the search is the parent's. A child that goes on without executing a program leaves
// the object alone: to destroy it there would end the parent's tool.
#pragma once

#include "master/FinderMasterOptions.h"
#include "master/SearchOutcome.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>

namespace tesker {

class ReadySet;
class Search;

// What is searched for. The texts are copied.
struct FinderSearchRequest {
  enum class Kind {
    searchPath, // the applications of one directory, or one application
    dockPaths,  // those among absolute paths with one NUL byte between neighbours, at most 10000
  };
  Kind kind = Kind::searchPath;
  // The path or paths. A search path goes to the tool as it is, and should be absolute.
  std::string_view argument;
  // The text of the last answer, when there is one.
  std::optional<std::string_view> previous = std::nullopt;
};

class FinderSearch {
public:
  using EndHandler = std::function<void(SearchOutcome outcome)>;
  // A search, or what kept it from beginning; onEnd is not called then.
  using Started = std::variant<std::unique_ptr<FinderSearch>, SearchFailure>;

  // Starts the tool. The options are copied; onEnd must not be empty.
  [[nodiscard]] static Started start(const FinderMasterOptions &options,
                                     const FinderSearchRequest &request, EndHandler onEnd);
  ~FinderSearch();
  FinderSearch(const FinderSearch &) = delete;
  FinderSearch &operator=(const FinderSearch &) = delete;

  // Readable when there is something to do for dispatch(), and only then; the same for the object's
  // life, and lent for so long. To be watched for reading, level- or edge-triggered.
  int descriptor() const;
  // Does what there is to do, or some of it, and never waits. May be called at any time.
  void dispatch();
  // Has the search end with what it has found (FinderMasterOptions::takesPartialAnswers); cancels
  // it where that is not asked for, or nothing can have been found yet. Does nothing once the
  // answer is there, and after the end.
  void stop();
  // Gives the search up. The end is told by dispatch(), as a failure (cancelled) unless the answer
  // was there already. Does nothing after the end.
  void cancel();
  // Whether the end has been told, or is just being told.
  bool hasEnded() const { return search_ == nullptr; }

private:
  FinderSearch(ReadySet ready, std::unique_ptr<Search> search, EndHandler onEnd);
  void watch();

  std::unique_ptr<ReadySet> ready_;
  std::unique_ptr<Search> search_; // nil after the end
  EndHandler onEnd_;
  bool isDispatching_ = false;
};

} // namespace tesker
