// CatalogRounds.h - which search paths of a catalog are searched, and when. Internal to the
// catalog.
//
// A round is a set of paths. One that is asked for joins the round that is going on, unless its
// search there has begun: then it is for the next one, so that every round ends. What is to be
// watched is watched first and then searched, so that no change is missed.
#pragma once

#include "catalog/ApplicationCatalog.h"
#include "catalog/CatalogAnswer.h"
#include "catalog/CatalogWatching.h"
#include "master/FinderSearch.h"
#include "platform/foundation/Deadline.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <poll.h>
#include <string_view>
#include <vector>

namespace tesker {

struct EndedSearch {
  std::size_t path;
  bool wasThere; // the path, when the search began
  SearchOutcome outcome;
};

struct EndedRound {
  std::vector<EndedSearch> searches; // in the order of the paths
  std::vector<CatalogProblem> problems;
};

class CatalogRounds {
public:
  // Both are borrowed; the answers do not move.
  CatalogRounds(const ApplicationCatalogOptions &options,
                const std::vector<CatalogAnswer> &answers);
  ~CatalogRounds();

  void refresh(std::size_t path);
  // Takes note of what has changed where paths are watched; whether anything has.
  bool noteChanges() { return watching_.noteChanges(); }
  // Does some of what there is to do. A round that has ended, with at least one search.
  std::optional<EndedRound> step();

  void appendPollDescriptors(std::vector<pollfd> &descriptors) const;
  // In how many milliseconds step() has to be called anyway: 0 when there is more to do now, -1 for
  // never.
  int pollTimeout() const;

private:
  enum class Stage { idle, waiting, watching, searching, ended };
  struct Path {
    Stage stage = Stage::idle;
    bool isWantedAgain = false;
    std::optional<Deadline> nextLook; // by itself
    bool wasThere = false;
    std::unique_ptr<FinderSearch> search;
    std::optional<SearchOutcome> outcome;
  };

  std::size_t countOf(Stage stage) const;
  std::size_t underWay() const { return countOf(Stage::watching) + countOf(Stage::searching); }
  void join(Path &path);
  void lookAtTimes();
  bool dispatchOne();
  bool watchOne();
  void beginOne();
  void search(std::size_t number);
  FinderMasterOptions searchOptions(std::size_t number) const;
  std::optional<EndedRound> endRound();

  const ApplicationCatalogOptions &options_;
  const std::vector<CatalogAnswer> &answers_;
  const std::size_t jobs_;
  CatalogWatching watching_;
  std::vector<Path> paths_;
  std::vector<CatalogProblem> problems_; // of the round
  std::size_t nextServed_ = 0;           // where to look first for a search that is ready
};

} // namespace tesker
