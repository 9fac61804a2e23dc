#include "catalog/CatalogWatching.h"

#include <algorithm>
#include <cstring>

namespace tesker {

CatalogWatching::CatalogWatching(const ApplicationCatalogOptions &options,
                                 const std::vector<CatalogAnswer> &answers)
    : options_(options), answers_(answers), paths_(answers.size()) {
  if (!options.watches)
    return;
  if (Result<SearchPathWatches> watches = SearchPathWatches::create())
    watches_.emplace(std::move(*watches));
  else
    watchesError_ = watches.error();
}

// Without asking the descriptor, which says of a mount only once that there is something.
bool CatalogWatching::noteChanges() {
  if (!watches_)
    return false;
  const std::vector<std::string> changed = watches_->takeChanged();
  for (std::size_t i = 0; i < paths_.size() && !changed.empty(); ++i) {
    if (!std::ranges::binary_search(changed, answers_[i].path()))
      continue;
    paths_[i].settled = Deadline::in(options_.settleTime);
    if (!paths_[i].latest)
      paths_[i].latest = Deadline::in(options_.longestSettleTime);
  }
  return !changed.empty();
}

std::vector<std::size_t> CatalogWatching::takeSettled() {
  std::vector<std::size_t> taken;
  for (std::size_t i = 0; i < paths_.size(); ++i) {
    Path &path = paths_[i];
    if (!path.settled || !earlier(*path.settled, *path.latest).passed())
      continue;
    path.settled = path.latest = std::nullopt;
    if (path.stage == Stage::watched)
      path.stage = Stage::outdated;
    path.isOutdatedAgain = true;
    taken.push_back(i);
  }
  return taken;
}

bool CatalogWatching::hasToBegin(std::size_t path) const {
  return options_.watches && paths_[path].stage == Stage::outdated;
}

void CatalogWatching::begin(std::size_t path) {
  paths_[path].stage = Stage::begun;
  paths_[path].isOutdatedAgain = false;
  if (watches_)
    watches_->begin(answers_[path].path());
}

bool CatalogWatching::advance(std::size_t path, std::vector<CatalogProblem> &problems) {
  if (!watches_) {
    problems.push_back(cannotWatch(path, watchesError_));
    return true;
  }
  const Result<SearchPathWatches::Progress> progress = watches_->advance(answers_[path].path());
  if (!progress)
    problems.push_back(cannotWatch(path, progress.error()));
  else if (*progress == SearchPathWatches::Progress::more)
    return false;
  else
    paths_[path].stage = paths_[path].isOutdatedAgain ? Stage::outdated : Stage::watched;
  return true;
}

CatalogProblem CatalogWatching::cannotWatch(std::size_t path, int error) {
  paths_[path].stage = Stage::impossible;
  return {CatalogProblem::Kind::notWatched, answers_[path].path(),
          error == ENOSPC ? "the user may not watch so many directories" : std::strerror(error)};
}

void CatalogWatching::retry(std::size_t path) {
  if (cannot(path))
    paths_[path].stage = Stage::outdated;
}

std::optional<Deadline> CatalogWatching::nextSettled() const {
  std::optional<Deadline> next;
  for (const Path &path : paths_)
    if (path.settled) {
      const Deadline settled = earlier(*path.settled, *path.latest);
      next = next ? earlier(*next, settled) : settled;
    }
  return next;
}

} // namespace tesker
