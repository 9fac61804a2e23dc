#include "command/Why.h"

#include "command/ChildMessages.h"
#include "command/ConfinedChild.h"
#include "command/SearchPath.h"
#include "command/Shadows.h"
#include "finding/ApplicationWalk.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace tesker {

namespace {

// Sends what concerns the path.
class Reporter final : public Judge {
public:
  Reporter(std::string_view path, const SendMessage &send) : path_(path), send_(send) {}

  void note(const Judgement &judgement) override {
    if (!isAtOrBelow(path_, judgement.path) && !isAtOrBelow(judgement.path, path_))
      return;
    send_(messageOf(judgement));
  }

private:
  const std::string_view path_;
  const SendMessage &send_;
};

std::vector<SearchRecord> recordsIn(const std::string &place, bool followLinkCycles) {
  ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = !followLinkCycles});
  try {
    walk.doForPath(NSString::create(place));
  } catch (const NSException &) { // which the verdict says
  }
  // As a master has them.
  return decodeRecords(encodeParsedApp(walk.lines()).bytes()).value_or(std::vector<SearchRecord>());
}

// What is listed at or below the path and yet comes to nothing.
void reportShadows(const WhyQuestion &question, std::vector<SearchRecord> found,
                   const SendMessage &send) {
  const auto concerns = [&](const std::string &path) { return isAtOrBelow(path, question.path); };
  if (std::ranges::none_of(programsIn(found), concerns, &Program::path))
    return;
  std::vector<SearchRecord> all;
  std::set<std::string_view> searched;
  for (const std::string &place : question.places) {
    if (!searched.insert(place).second)
      continue;
    std::vector<SearchRecord> records;
    if (place == question.searchPath)
      records.swap(found);
    else
      records = recordsIn(place, question.followLinkCycles);
    std::ranges::move(records, std::back_inserter(all));
  }
  findShadows(
      programsIn(all), question.preferred,
      [&](const Program &program) { return concerns(program.path); },
      [&](const Shadow &shadow) {
        send(messageOf(LateRemark{shadow.program->path,
                                  {.code = JudgementCode::shadowed,
                                   .detail = shadow.claim,
                                   .file = shadow.first->path}}));
      });
}

void searchAndReport(const WhyQuestion &question, const SendMessage &send) {
  const ReadFailures failures;
  std::vector<SearchRecord> found;
  {
    const Reporter reporter(question.path, send);
    found = recordsIn(question.searchPath, question.followLinkCycles);
  }
  reportShadows(question, std::move(found), send);
}

// The judgement on the application that the program belongs to; nil when there is none. They are
// in the order of their paths.
Judgement *foundWith(std::vector<Judgement> &judgements, std::string_view program) {
  for (; !program.empty(); program = directoryOf(program)) {
    const auto at = std::ranges::lower_bound(judgements, program, {}, &Judgement::path);
    if (at != judgements.end() && at->path == program && at->verdict.code == JudgementCode::found)
      return &*at;
  }
  return nullptr;
}

} // namespace

std::optional<std::string> placeOf(std::string_view path, const std::vector<std::string> &places) {
  const auto found =
      std::ranges::find_if(places, [&](const auto &place) { return isAtOrBelow(path, place); });
  return found == places.end() ? std::nullopt : std::optional(*found);
}

const Judgement *WhyAnswer::itself(std::string_view path) const {
  const auto found = std::ranges::find(judgements, path, &Judgement::path);
  return found == judgements.end() ? nullptr : &*found;
}

const Judgement *WhyAnswer::nearest(std::string_view path) const {
  const Judgement *nearest = nullptr;
  for (const Judgement &judgement : judgements)
    if (isAtOrBelow(path, judgement.path) &&
        (nearest == nullptr || judgement.path.size() > nearest->path.size()))
      nearest = &judgement;
  return nearest;
}

WhyAnswer searchForReasons(const WhyQuestion &question) {
  WhyAnswer answer;
  std::vector<LateRemark> shadows;
  answer.failure = runConfined(
      question.timeout, [&](const SendMessage &send) { searchAndReport(question, send); },
      [&](std::string_view message) {
        if (auto judgement = judgementIn(message))
          answer.judgements.push_back(std::move(*judgement));
        else if (auto shadow = lateRemarkIn(message))
          shadows.push_back(std::move(*shadow));
      });
  std::ranges::sort(answer.judgements, {}, &Judgement::path);
  for (LateRemark &shadow : shadows)
    if (Judgement *found = foundWith(answer.judgements, shadow.path))
      found->remarks.push_back(std::move(shadow.remark));
  return answer;
}

} // namespace tesker
