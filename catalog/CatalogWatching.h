// CatalogWatching.h - which search paths of a catalog have changed and settled, and which are to be
// watched before they are searched. Internal to the catalog.
#pragma once

#include "catalog/ApplicationCatalog.h"
#include "catalog/CatalogAnswer.h"
#include "catalog/SearchPathWatches.h"
#include "platform/foundation/Deadline.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace tesker {

class CatalogWatching {
public:
  // Both are borrowed. Where nothing is to be watched it has nothing to do.
  CatalogWatching(const ApplicationCatalogOptions &options,
                  const std::vector<CatalogAnswer> &answers);

  // Takes note of what has changed; whether anything has.
  bool noteChanges();
  // The paths that have changed, and stayed as they are for a while since: to be searched, and
  // watched again before.
  std::vector<std::size_t> takeSettled();

  // Whether the path has to be watched, or watched again, before it is searched.
  bool hasToBegin(std::size_t path) const;
  void begin(std::size_t path);
  // Does some of that, some 20 ms. Whether it is done, or cannot be done.
  bool advance(std::size_t path, std::vector<CatalogProblem> &problems);
  // Tries again where it could not be done.
  void retry(std::size_t path);
  // Whether it could not be done.
  bool cannot(std::size_t path) const { return paths_[path].stage == Stage::impossible; }

  // Negative where nothing is watched.
  int descriptor() const { return watches_ ? watches_->descriptor() : -1; }
  // When the first path settles.
  std::optional<Deadline> nextSettled() const;

private:
  enum class Stage { outdated, begun, watched, impossible };
  struct Path {
    Stage stage = Stage::outdated;
    bool isOutdatedAgain = false;            // since it was begun
    std::optional<Deadline> settled, latest; // since it has changed
  };

  CatalogProblem cannotWatch(std::size_t path, int error);

  const ApplicationCatalogOptions &options_;
  const std::vector<CatalogAnswer> &answers_;
  std::optional<SearchPathWatches> watches_;
  int watchesError_ = 0; // why there are none
  std::vector<Path> paths_;
};

} // namespace tesker
