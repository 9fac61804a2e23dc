#include "catalog/ApplicationCatalog.h"

#include "catalog/CatalogAnswer.h"
#include "catalog/CatalogRecords.h"
#include "catalog/CatalogRounds.h"
#include "master/ReadySet.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace tesker {

namespace {

// How long before another attempt to save what another process kept from being saved.
constexpr int kSaveAgain = 200; // milliseconds

SearchFailure cannotWait(int error) {
  return {SearchFailure::Kind::cannotSearch, SearchStage::handOver, std::nullopt,
          std::string("nothing can be waited for: ") + std::strerror(error)};
}

std::vector<CatalogAnswer> answersFor(const ApplicationCatalogOptions &options) {
  std::vector<CatalogAnswer> answers;
  answers.reserve(options.paths.size());
  for (const std::string &path : options.paths)
    answers.emplace_back(path, options);
  return answers;
}

} // namespace

// An update with what it points to.
struct ApplicationCatalog::Told {
  CatalogUpdate update;
  CatalogRecords::Replaced replaced;
};

ApplicationCatalog::Created ApplicationCatalog::create(ApplicationCatalogOptions options,
                                                       Listener listener) {
  Result<ReadySet> ready = ReadySet::create();
  if (!ready)
    return cannotWait(ready.error());
  std::unique_ptr<ApplicationCatalog> catalog(
      new ApplicationCatalog(std::move(options), std::move(listener), std::move(*ready)));
  catalog->load();
  return catalog;
}

ApplicationCatalog::ApplicationCatalog(ApplicationCatalogOptions options, Listener listener,
                                       ReadySet ready)
    : options_(std::move(options)),
      listener_(std::make_shared<const Listener>(std::move(listener))),
      ready_(std::make_unique<ReadySet>(std::move(ready))), answers_(answersFor(options_)),
      records_(std::make_unique<CatalogRecords>(answers_.size())),
      rounds_(std::make_unique<CatalogRounds>(options_, answers_)) {}

ApplicationCatalog::~ApplicationCatalog() {
  if (isDestroyed_ != nullptr)
    *isDestroyed_ = true;
  try {
    for (CatalogAnswer &answer : answers_)
      (void)answer.save(Deadline::in({}));
  } catch (const std::bad_alloc &) { // then the file is as it was
  }
}

void ApplicationCatalog::load() {
  std::vector<CatalogRecords::Fresh> fresh;
  for (std::size_t i = 0; i < answers_.size(); ++i)
    fresh.push_back({i, answers_[i].load()});
  (void)records_->replace(std::move(fresh));
}

void ApplicationCatalog::refresh() {
  for (std::size_t i = 0; i < answers_.size(); ++i)
    rounds_->refresh(i);
  ready_->wake();
}

void ApplicationCatalog::refresh(std::string_view searchPath) {
  for (std::size_t i = 0; i < answers_.size(); ++i)
    if (answers_[i].path() == searchPath)
      rounds_->refresh(i);
  ready_->wake();
}

int ApplicationCatalog::descriptor() const { return ready_->descriptor(); }

void ApplicationCatalog::watch() {
  int failed = 0;
  try {
    const bool isSaveOwed = std::ranges::any_of(answers_, &CatalogAnswer::isSaveOwed);
    const int timeout = rounds_->pollTimeout();
    std::vector<pollfd> descriptors;
    rounds_->appendPollDescriptors(descriptors);
    failed = ready_->watch(descriptors, !isSaveOwed   ? timeout
                                        : timeout < 0 ? kSaveAgain
                                                      : std::min(timeout, kSaveAgain));
    // What came before it was waited for may not be told again.
    if (rounds_->noteChanges())
      ready_->wake();
  } catch (const std::bad_alloc &) {
    failed = ENOMEM;
  }
  if (failed != 0) // what cannot be waited for is looked at again and again
    ready_->wake();
}

void ApplicationCatalog::dispatch() {
  if (isDestroyed_ != nullptr) // it is being dispatched
    return;
  ready_->forget();
  bool isDestroyed = false; // by the listener
  isDestroyed_ = &isDestroyed;
  try {
    if (const std::optional<Told> told = step())
      if (const auto listener = listener_; *listener)
        (*listener)(told->update);
  } catch (...) {
    if (!isDestroyed)
      endDispatch();
    throw;
  }
  if (!isDestroyed)
    endDispatch();
}

void ApplicationCatalog::endDispatch() {
  isDestroyed_ = nullptr;
  watch();
}

std::optional<ApplicationCatalog::Told> ApplicationCatalog::step() {
  std::optional<EndedRound> round = rounds_->step();
  if (round)
    try {
      return take(*round);
    } catch (...) { // there may be texts without their records
      for (const EndedSearch &search : round->searches)
        answers_[search.path].forget();
      throw;
    }
  for (CatalogAnswer &answer : answers_)
    if (answer.isSaveOwed())
      (void)answer.save(Deadline::in({}));
  return std::nullopt;
}

ApplicationCatalog::Told ApplicationCatalog::take(EndedRound &round) {
  Told told;
  CatalogUpdate &update = told.update;
  update.problems = std::move(round.problems);
  std::vector<CatalogRecords::Fresh> fresh;
  for (EndedSearch &search : round.searches) {
    CatalogAnswer &answer = answers_[search.path];
    const auto records = records_->of(search.path);
    const bool isFile = std::ranges::any_of(records, [&](const SearchRecord &record) {
      return valueOf(record, "path") == answer.path();
    });
    CatalogAnswer::Judged judged =
        answer.take(std::move(search.outcome), search.wasThere, !records.empty(), isFile);
    update.searchPaths.push_back(answer.path());
    if (judged.records)
      fresh.push_back({search.path, std::move(*judged.records)});
    if (judged.problem)
      update.problems.push_back(std::move(*judged.problem));
  }
  if (!fresh.empty())
    ++generation_;
  update.generation = generation_;
  told.replaced = records_->replace(std::move(fresh));
  for (const auto &[path, list] : told.replaced.changes)
    for (const RecordChange &change : list)
      update.changes.push_back({change, answers_[path].path()});
  for (const EndedSearch &search : round.searches)
    if (std::optional<CatalogProblem> problem = answers_[search.path].save(Deadline::in({})))
      update.problems.push_back(std::move(*problem));
  const bool isKept = options_.watches || options_.pollInterval.count() > 0;
  for (const EndedSearch &search : round.searches)
    answers_[search.path].markCurrent(isKept);
  return told;
}

const std::vector<SearchRecord> &ApplicationCatalog::records() const { return records_->all(); }

const std::vector<Program> &ApplicationCatalog::programs() const { return records_->programs(); }

std::span<const SearchRecord> ApplicationCatalog::recordsOf(std::string_view searchPath) const {
  const auto answer = std::ranges::find(answers_, searchPath, &CatalogAnswer::path);
  return answer != answers_.end()
             ? records_->of(static_cast<std::size_t>(answer - answers_.begin()))
             : std::span<const SearchRecord>();
}

CatalogPathState ApplicationCatalog::state(std::string_view searchPath) const {
  const auto answer = std::ranges::find(answers_, searchPath, &CatalogAnswer::path);
  return answer != answers_.end() ? answer->state() : CatalogPathState{};
}

std::vector<std::string_view> ApplicationCatalog::types() const {
  return records_->types().extensions();
}

std::vector<Handler> ApplicationCatalog::handlersOf(std::string_view extension,
                                                    const PreferredApplications &preferred) const {
  return records_->types().handlersOf(extension, preferred);
}

std::vector<const Program *> ApplicationCatalog::programsCalled(std::string_view nameOrPath) const {
  return tesker::programsCalled(programs(), nameOrPath);
}

} // namespace tesker
