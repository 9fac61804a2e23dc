#include "command/Why.h"

#include "command/ConfinedChild.h"
#include "command/SearchPath.h"
#include "finding/ApplicationWalk.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <charconv>

namespace tesker {

namespace {

// A judgement travels from the child as fields with NULs between them: path, records and verdict,
// then the remarks; each of these has a code, a detail, a file, a line, a column and an offset.
constexpr std::size_t kFieldsOfRemark = 6;

void appendField(std::string &message, std::string_view text) {
  for (const char byte : text)
    message += byte == '\0' ? ' ' : byte;
  message += '\0';
}

void appendRemark(std::string &message, const Remark &remark) {
  appendField(message, wordOf(remark.code));
  appendField(message, remark.detail);
  appendField(message, remark.file);
  appendField(message, std::to_string(remark.line));
  appendField(message, std::to_string(remark.column));
  appendField(message, remark.offset ? std::to_string(*remark.offset) : "");
}

// Sends what concerns the path.
class Reporter final : public Judge {
public:
  Reporter(std::string_view path, const SendMessage &send) : path_(path), send_(send) {}

  void note(const Judgement &judgement) override {
    if (!isAtOrBelow(path_, judgement.path) && !isAtOrBelow(judgement.path, path_))
      return;
    std::string message;
    appendField(message, judgement.path);
    appendField(message, std::to_string(judgement.records));
    appendRemark(message, judgement.verdict);
    for (const Remark &remark : judgement.remarks)
      appendRemark(message, remark);
    message.pop_back();
    send_(message);
  }

private:
  const std::string_view path_;
  const SendMessage &send_;
};

template <class Number> Number numberIn(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Remark remarkIn(const std::string_view *fields) {
  Remark remark{.code = judgementCodeOf(fields[0]).value_or(JudgementCode::failed),
                .detail = std::string(fields[1]),
                .file = std::string(fields[2]),
                .line = numberIn<std::size_t>(fields[3]),
                .column = numberIn<std::size_t>(fields[4])};
  if (!fields[5].empty())
    remark.offset = numberIn<std::uint64_t>(fields[5]);
  return remark;
}

// Nothing when the message is not a judgement.
std::optional<Judgement> judgementIn(std::string_view message) {
  const std::vector<std::string_view> fields = piecesOf(message, '\0');
  if (fields.size() < 2 + kFieldsOfRemark || (fields.size() - 2) % kFieldsOfRemark != 0)
    return std::nullopt;
  Judgement judgement{
      std::string(fields[0]), remarkIn(&fields[2]), numberIn<std::size_t>(fields[1]), {}};
  for (std::size_t i = 2 + kFieldsOfRemark; i < fields.size(); i += kFieldsOfRemark)
    judgement.remarks.push_back(remarkIn(&fields[i]));
  return judgement;
}

void searchAndReport(const WhyQuestion &question, const SendMessage &send) {
  const ReadFailures failures;
  const Reporter reporter(question.path, send);
  ApplicationWalk([] {}, {}, {.skipsLinkCycles = !question.followLinkCycles})
      .doForPath(NSString::create(question.searchPath));
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
