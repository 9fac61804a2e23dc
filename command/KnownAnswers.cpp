#include "command/KnownAnswers.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tesker {

namespace {

constexpr std::chrono::milliseconds kLongestWait{500}; // for another process

// "3 minutes ago"
std::string ago(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour;
  const auto times = [&](std::int64_t unit, const char *one, const char *several) {
    return counted(static_cast<std::size_t>(seconds / unit), one, several) + " ago";
  };
  if (seconds < kMinute)
    return "less than a minute ago";
  if (seconds < kHour)
    return times(kMinute, "minute", "minutes");
  if (seconds < kDay)
    return times(kHour, "hour", "hours");
  return times(kDay, "day", "days");
}

} // namespace

KnownAnswers::KnownAnswers(const Arguments &arguments, Diagnostics &diagnostics)
    : arguments_(arguments), diagnostics_(diagnostics),
      directory_(arguments.tool.empty() ? usualStateDirectory() : "") {}

SavedAnswerFile KnownAnswers::fileOf(const SearchRequest &request) const {
  return SavedAnswerFile(directory_,
                         {request.argument, arguments_.cpu, arguments_.followLinkCycles});
}

void KnownAnswers::prepare(Searches &searches) {
  if (arguments_.cached)
    answer(searches);
  else
    compare(searches);
}

void KnownAnswers::compare(Searches &searches) {
  for (SearchRequest &request : searches.requests())
    if (std::optional<SavedAnswer> saved = fileOf(request).read()) {
      request.previous = saved->text;
      known_.emplace(&request, std::move(*saved));
    }
}

void KnownAnswers::answer(Searches &searches) {
  const std::int64_t now = OperatingSystem::current().currentTime();
  std::int64_t age = -1; // of the oldest; negative: a watch keeps all of them current
  bool isAny = false;
  for (SearchRequest &request : searches.requests()) {
    const SavedAnswerFile file = fileOf(request);
    std::optional<SavedAnswer> saved = file.read();
    if (!saved) {
      diagnostics_.note(named(request) + ": nothing was found there before; it is searched now");
      continue;
    }
    isAny = true;
    if (!file.isWatched(Deadline::in(kLongestWait)))
      age = std::max({age, now - saved->time, std::int64_t{0}});
    request.answer = SearchAnswer{std::move(saved->text), std::move(saved->records)};
  }
  if (isAny)
    diagnostics_.note(age < 0 ? "from what a running watch keeps current"
                              : "from what was found " + ago(age));
}

void KnownAnswers::take(const SearchRequest &request, SearchOutcome &outcome) {
  if (request.answer) // there was no search
    return;
  const auto known = known_.find(&request);
  const bool isSame = std::holds_alternative<SearchUnchanged>(outcome.result);
  const bool isEmpty = isSame ? known->second.records.empty()
                              : std::get<SearchAnswer>(outcome.result).records.empty();
  // What is not all, or not there at the moment, is not to be known later.
  if (!outcome.incomplete && !outcome.cut &&
      !(isEmpty && !isSearchPathThere(request.argument, true)))
    save(request, isSame ? known->second.text : std::get<SearchAnswer>(outcome.result).text,
         isSame ? &known->second : nullptr);
  if (isSame)
    outcome.result = SearchAnswer{std::move(known->second.text), std::move(known->second.records)};
}

void KnownAnswers::save(const SearchRequest &request, const std::string &text,
                        const SavedAnswer *same) {
  const SavedAnswerFile file = fileOf(request);
  const std::int64_t now = OperatingSystem::current().currentTime();
  if (!file.isKept() || (same != nullptr && file.isYoung(same->version, same->time, now)))
    return;
  const Result<FileVersion> saved = file.save(text, now, Deadline::in(kLongestWait));
  if (!saved && diagnostics_.verbose())
    diagnostics_.note("the answer is not kept in " + fileError(directory_, saved.error()));
}

} // namespace tesker
