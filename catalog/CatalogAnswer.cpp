#include "catalog/CatalogAnswer.h"

#include "parsing/RecordEncoding.h"
#include "platform/foundation/OperatingSystem.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tesker {

namespace {

// What the tool has said about it.
std::string whyIncomplete(const SearchOutcome &outcome) {
  for (const std::string &line : outcome.logLines)
    if (line.starts_with(kIncompleteLine))
      return line.substr(kIncompleteLine.size());
  return "the answer lacks something";
}

} // namespace

CatalogAnswer::CatalogAnswer(std::string path, const ApplicationCatalogOptions &options)
    : path_(std::move(path)), file_(!options.keepsState              ? ""
                                    : options.stateDirectory.empty() ? usualStateDirectory()
                                                                     : options.stateDirectory,
                                    {path_, options.cpu, options.followLinkCycles}) {}

std::optional<std::string_view> CatalogAnswer::text() const {
  return state_.isKnown ? std::optional<std::string_view>(text_) : std::nullopt;
}

std::vector<SearchRecord> CatalogAnswer::load() {
  std::optional<SavedAnswer> saved = file_.read();
  if (!saved)
    return {};
  state_ = {.isKnown = true, .time = saved->time};
  text_ = std::move(saved->text);
  isTextSaved_ = true;
  savedVersion_ = saved->version;
  savedTime_ = saved->time;
  return std::move(saved->records);
}

CatalogAnswer::Judged CatalogAnswer::take(SearchOutcome outcome, bool wasThere, bool hasRecords,
                                          bool isFile) {
  using Kind = CatalogProblem::Kind;
  isGood_ = false;
  if (const auto *failure = std::get_if<SearchFailure>(&outcome.result))
    return {.problem = problem(Kind::searchFailed, failure->reason)};
  Judged judged;
  if (outcome.incomplete)
    judged.problem = problem(Kind::incomplete, whyIncomplete(outcome));
  auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  const bool isEmpty = answer != nullptr ? answer->records.empty() : !hasRecords;
  if (isEmpty && (!wasThere || !isSearchPathThere(path_, isFile))) {
    judged.problem = problem(Kind::pathGone, "it is not there");
    state_.isStale = hasRecords;
    if (hasRecords)
      return judged;
  } else if (answer != nullptr && outcome.incomplete && state_.isKnown && !state_.isIncomplete) {
    return judged;
  }
  state_ = {.isKnown = true,
            .isIncomplete = outcome.incomplete && (answer != nullptr || state_.isIncomplete),
            .time = OperatingSystem::current().currentTime()};
  isGood_ = !judged.problem;
  if (answer != nullptr) {
    text_ = std::move(answer->text);
    isTextSaved_ = false;
    judged.records = std::move(answer->records);
  }
  return judged;
}

std::optional<CatalogProblem> CatalogAnswer::save(const Deadline &deadline) {
  isSaveOwed_ = false;
  if (!file_.isKept() || !state_.isKnown || state_.isIncomplete || state_.isStale)
    return std::nullopt;
  if (isTextSaved_ && file_.isYoung(*savedVersion_, savedTime_, state_.time))
    return std::nullopt;
  const Result<FileVersion> saved = file_.save(text_, state_.time, deadline);
  if (saved) {
    isTextSaved_ = true;
    savedVersion_ = *saved;
    savedTime_ = state_.time;
    saveError_ = 0;
    return std::nullopt;
  }
  isSaveOwed_ = saved.error() == EWOULDBLOCK;
  if (isSaveOwed_ || std::exchange(saveError_, saved.error()) == saved.error())
    return std::nullopt;
  return problem(CatalogProblem::Kind::notSaved, std::strerror(saved.error()));
}

void CatalogAnswer::markCurrent(bool isKept) {
  if (!isKept || !isGood_ || !isTextSaved_)
    mark_.reset();
  else if (!mark_)
    if (Result<FileDescriptor> mark = file_.markWatched(Deadline::in({})))
      mark_ = std::move(*mark);
}

} // namespace tesker
