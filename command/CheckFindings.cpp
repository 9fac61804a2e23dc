#include "command/CheckFindings.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <tuple>

namespace tesker {

namespace {

// What goes before the detail and behind it, where the detail alone is not a sentence.
struct Sentence {
  JudgementCode code;
  const char *before;
  const char *behind;
};
constexpr Sentence kSentences[] = {
    {JudgementCode::searched, "nothing in this directory is an application", ""},
    {JudgementCode::notThere, "it is not there", ""},
    {JudgementCode::danglingLink, "the link leads nowhere", ""},
    {JudgementCode::linkCycle, "there are too many links", ""},
    {JudgementCode::pathTooLong, "the path is too long", ""},
    {JudgementCode::vanished, "it is not there any more ", ""},
    {JudgementCode::noPermission, "a directory on the way may not be searched", ""},
    {JudgementCode::notSearchable, "the directory may not be searched and read", ""},
    {JudgementCode::notExecutable, "it has no execute permission", ""},
    {JudgementCode::notReadable, "it may not be read", ""},
    {JudgementCode::readError, "it cannot be read", ""},
    {JudgementCode::specialFile, "it is not a regular file", ""},
    {JudgementCode::noDescription, "there is no description that can be read", ""},
    {JudgementCode::descriptionTooLarge, "a description of more than 16 MiB is not read", ""},
    {JudgementCode::descriptionTooDeep,
     "a description is not read here; its place is the directory Resources", ""},
    {JudgementCode::typesCutShort, "", ", which ends the list of types"},
    {JudgementCode::missingKey, "", " is missing"},
    {JudgementCode::passedOver, "it is not looked at where there is a description", ""},
    {JudgementCode::noSelfDescription, "it says nothing of itself: ", ""},
    {JudgementCode::malformedHeaderLine, "malformed line: ", ""},
    {JudgementCode::otherProcessor, "it does not run here: it is for ", ""},
    {JudgementCode::nearSuffix, "the directory's name ends nearly as a wrapper's, in .", ""},
    {JudgementCode::limitsReached, "there is more than is read", ""},
    {JudgementCode::failed, "it cannot be judged: ", ""},
    {JudgementCode::repeatedKey, "the key stands again further down, where it counts", ""},
};

std::string textOf(const Remark &remark) {
  const auto *const sentence = std::ranges::find(kSentences, remark.code, &Sentence::code);
  if (sentence == std::end(kSentences))
    return remark.detail;
  return sentence->before + remark.detail + sentence->behind;
}

// Something was not taken, or made no record at all.
bool isError(const Remark &remark) {
  switch (remark.code) {
  case JudgementCode::searched:
  case JudgementCode::danglingLink:
  case JudgementCode::descriptionTooDeep:
  case JudgementCode::unknownKey:
  case JudgementCode::missingKey:
  case JudgementCode::passedOver:
  case JudgementCode::otherProcessor:
  case JudgementCode::nearSuffix:
    return false;
  default:
    return !remark.isTaken && !isDetail(remark.code);
  }
}

auto orderOf(const Finding &finding) {
  return std::tie(finding.file, finding.line, finding.column, finding.word, finding.text);
}

} // namespace

Finding findingOf(const Remark &remark, const std::string &path) {
  return {.file = remark.file.empty() ? path : remark.file,
          .line = remark.line,
          .column = remark.column,
          .offset = remark.offset,
          .isError = isError(remark),
          .word = std::string(wordOf(remark.code)),
          .text = textOf(remark)};
}

std::string oddityOf(std::string_view extension) {
  const auto is = [&](auto test) { return std::ranges::any_of(extension, test); };
  if (extension.empty())
    return "the extension is empty";
  const std::string named = "the extension \"" + std::string(extension) + "\"";
  if (extension.starts_with('.'))
    return named + " begins with a dot, which is not part of it";
  if (is([](char byte) { return byte == '.' || byte == '/'; }))
    return named + " is not what stands behind the last dot of a file's name";
  if (is([](char byte) { return static_cast<unsigned char>(byte) <= ' ' || byte == '\x7f'; }))
    return named + " has blanks or control characters in it";
  if (is([](char byte) { return byte >= 'A' && byte <= 'Z'; }))
    return named + " has upper case in it";
  return {};
}

std::string lineOf(const Finding &finding, const Terminal &terminal) {
  const Style style = finding.isError ? Style::error : Style::warning;
  std::string line = styled(displayPlace(finding.file, finding.line, finding.column) + ":",
                            Style::place, terminal);
  line += " " + styled(finding.isError ? "error:" : "warning:", style, terminal) + " " +
          displayText(finding.text);
  if (finding.offset)
    line += ", at byte " + std::to_string(*finding.offset);
  return line + " [" + styled(finding.word, style, terminal) + "]\n";
}

void Findings::add(Finding finding) {
  if (all_.size() < kMost)
    all_.push_back(std::move(finding));
  else if (all_.size() == kMost)
    all_.push_back({.file = finding.file,
                    .isError = true,
                    .word = std::string(wordOf(JudgementCode::limitsReached)),
                    .text = "there is more to say than is told"});
}

std::vector<Finding> Findings::sorted() && {
  std::ranges::stable_sort(
      all_, [](const Finding &a, const Finding &b) { return orderOf(a) < orderOf(b); });
  const auto same = [](const Finding &a, const Finding &b) { return orderOf(a) == orderOf(b); };
  all_.erase(std::unique(all_.begin(), all_.end(), same), all_.end());
  return std::move(all_);
}

} // namespace tesker
