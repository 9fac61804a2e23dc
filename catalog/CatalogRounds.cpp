#include "catalog/CatalogRounds.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace tesker {

namespace {

// Where changes cannot be watched.
constexpr std::chrono::seconds kUsualInterval{30};

std::size_t processors() { return std::max<std::size_t>(std::thread::hardware_concurrency(), 1); }

} // namespace

CatalogRounds::CatalogRounds(const ApplicationCatalogOptions &options,
                             const std::vector<CatalogAnswer> &answers)
    : options_(options), answers_(answers), jobs_(options.jobs != 0 ? options.jobs : processors()),
      watching_(options, answers), paths_(answers.size()) {}

CatalogRounds::~CatalogRounds() = default;

void CatalogRounds::refresh(std::size_t path) {
  watching_.retry(path);
  join(paths_[path]);
}

void CatalogRounds::join(Path &path) {
  path.nextLook.reset();
  if (path.stage == Stage::idle)
    path.stage = Stage::waiting;
  else if (path.stage != Stage::waiting)
    path.isWantedAgain = true;
}

std::optional<EndedRound> CatalogRounds::step() {
  noteChanges();
  lookAtTimes();
  // One thing at a time, since each may take as long as a step may.
  if (!dispatchOne() && !watchOne())
    beginOne();
  return countOf(Stage::waiting) + underWay() != 0 ? std::nullopt : endRound();
}

std::size_t CatalogRounds::countOf(Stage stage) const {
  return static_cast<std::size_t>(std::ranges::count(paths_, stage, &Path::stage));
}

void CatalogRounds::lookAtTimes() {
  for (const std::size_t number : watching_.takeSettled())
    join(paths_[number]);
  for (Path &path : paths_)
    if (path.nextLook && path.nextLook->passed())
      join(path);
}

// Whether there was one that is ready. Each has its turn.
bool CatalogRounds::dispatchOne() {
  std::vector<pollfd> waiting;
  for (const Path &path : paths_)
    waiting.push_back({path.search ? path.search->descriptor() : -1, POLLIN, 0});
  if (OperatingSystem::current().poll(waiting.data(), waiting.size(), 0) <= 0)
    return false;
  for (std::size_t i = 0; i < paths_.size(); ++i) {
    const std::size_t number = (nextServed_ + i) % paths_.size();
    if (waiting[number].revents == 0)
      continue;
    nextServed_ = number + 1;
    Path &path = paths_[number];
    path.search->dispatch();
    if (path.outcome) {
      path.search.reset();
      path.stage = Stage::ended;
    }
    return true;
  }
  return false;
}

// Whether there was one that is to be watched.
bool CatalogRounds::watchOne() {
  const auto next = std::ranges::find(paths_, Stage::watching, &Path::stage);
  if (next == paths_.end())
    return false;
  const auto number = static_cast<std::size_t>(next - paths_.begin());
  if (watching_.advance(number, problems_))
    search(number);
  return true;
}

void CatalogRounds::beginOne() {
  const auto next = std::ranges::find(paths_, Stage::waiting, &Path::stage);
  if (next == paths_.end() || underWay() >= jobs_)
    return;
  const auto number = static_cast<std::size_t>(next - paths_.begin());
  if (!watching_.hasToBegin(number))
    return search(number);
  watching_.begin(number);
  next->stage = Stage::watching;
}

void CatalogRounds::search(std::size_t number) {
  Path &path = paths_[number];
  const CatalogAnswer &answer = answers_[number];
  path.wasThere = isSearchPathThere(answer.path(), true);
  auto started = FinderSearch::start(
      searchOptions(number), {.argument = answer.path(), .previous = answer.text()},
      [&path](SearchOutcome ended) { path.outcome.emplace(std::move(ended)); });
  if (auto *failure = std::get_if<SearchFailure>(&started)) {
    path.outcome.emplace(SearchOutcome{std::move(*failure), false, {}, 0});
    path.stage = Stage::ended;
  } else {
    path.search = std::move(std::get<0>(started));
    path.stage = Stage::searching;
  }
}

FinderMasterOptions CatalogRounds::searchOptions(std::size_t number) const {
  FinderMasterOptions search{
      .tool = options_.tool, .cpu = options_.cpu, .timeout = options_.timeout};
  search.readAhead = options_.readAhead;
  search.followLinkCycles = options_.followLinkCycles;
  if (options_.onLogLine)
    search.onLogLine = [this, number](std::string_view line) {
      options_.onLogLine(answers_[number].path(), line);
    };
  return search;
}

std::optional<EndedRound> CatalogRounds::endRound() {
  EndedRound round;
  for (std::size_t number = 0; number < paths_.size(); ++number) {
    Path &path = paths_[number];
    if (path.stage != Stage::ended)
      continue;
    round.searches.push_back({number, path.wasThere, std::move(*path.outcome)});
    path.outcome.reset();
    path.stage = Stage::idle;
    if (std::exchange(path.isWantedAgain, false))
      path.stage = Stage::waiting;
    else if (options_.pollInterval.count() > 0)
      path.nextLook = Deadline::in(options_.pollInterval);
    else if (watching_.cannot(number))
      path.nextLook = Deadline::in(kUsualInterval);
  }
  if (round.searches.empty())
    return std::nullopt;
  round.problems = std::exchange(problems_, {});
  return round;
}

void CatalogRounds::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  descriptors.push_back({watching_.descriptor(), POLLIN, 0});
  for (const Path &path : paths_)
    if (path.search)
      descriptors.push_back({path.search->descriptor(), POLLIN, 0});
}

int CatalogRounds::pollTimeout() const {
  if (countOf(Stage::watching) != 0 || (countOf(Stage::waiting) != 0 && underWay() < jobs_))
    return 0;
  std::optional<Deadline> next = watching_.nextSettled();
  for (const Path &path : paths_)
    if (path.nextLook)
      next = next ? earlier(*next, *path.nextLook) : *path.nextLook;
  return next ? next->pollTimeout() : -1;
}

} // namespace tesker
