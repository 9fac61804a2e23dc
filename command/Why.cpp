#include "command/Why.h"

#include "command/ChildMessages.h"
#include "command/ConfinedChild.h"
#include "command/SearchPath.h"
#include "finding/ApplicationWalk.h"
#include "platform/foundation/ReadFailures.h"

#include <algorithm>

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

void searchAndReport(const WhyQuestion &question, const SendMessage &send) {
  const ReadFailures failures;
  const Reporter reporter(question.path, send);
  ApplicationWalk([] {}).doForPath(NSString::create(question.searchPath));
}

} // namespace

bool isAtOrBelow(std::string_view path, std::string_view directory) {
  directory = withoutSlashesAtItsEnd(directory);
  return path.starts_with(directory) &&
         (path.size() == directory.size() || directory == "/" || path[directory.size()] == '/');
}

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
  answer.failure = runConfined(
      question.timeout, [&](const SendMessage &send) { searchAndReport(question, send); },
      [&](std::string_view message) {
        if (auto judgement = judgementIn(message))
          answer.judgements.push_back(std::move(*judgement));
      });
  std::ranges::sort(answer.judgements, {}, &Judgement::path);
  return answer;
}

} // namespace tesker
