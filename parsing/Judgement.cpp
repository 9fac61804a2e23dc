#include "parsing/Judgement.h"

#include "platform/foundation/ReadFailures.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace tesker {

namespace {

// In the order of the enumerators.
constexpr std::array<std::string_view, kAllCodes> kWords = {"found",
                                                            "searched",
                                                            "wrapper-part",
                                                            "not-there",
                                                            "dangling-link",
                                                            "link-cycle",
                                                            "skipped-link",
                                                            "path-too-long",
                                                            "vanished",
                                                            "no-permission",
                                                            "not-searchable",
                                                            "not-executable",
                                                            "not-readable",
                                                            "read-error",
                                                            "special-file",
                                                            "dot-name",
                                                            "backup-name",
                                                            "no-description",
                                                            "description-too-large",
                                                            "description-too-deep",
                                                            "malformed-list",
                                                            "wrong-kind",
                                                            "types-cut-short",
                                                            "unknown-key",
                                                            "missing-key",
                                                            "passed-over",
                                                            "no-self-description",
                                                            "malformed-header-line",
                                                            "damaged-image",
                                                            "other-processor",
                                                            "near-suffix",
                                                            "limits-reached",
                                                            "failed",
                                                            "shadowed",
                                                            "ignored",
                                                            "repeated-key",
                                                            "extension-taken",
                                                            "icon-taken",
                                                            "name-taken"};
static_assert(!kWords.back().empty());

// What keeps a wrapper from being found when one of its parts says it: the first of these.
constexpr std::array kCauses = {
    JudgementCode::malformedList, JudgementCode::descriptionTooLarge, JudgementCode::wrongKind,
    JudgementCode::readError,     JudgementCode::notReadable,         JudgementCode::damagedImage,
    JudgementCode::notExecutable, JudgementCode::danglingLink,        JudgementCode::specialFile};

// The part's words, said of the wrapper.
std::optional<Remark> wordsOfPart(const Judgement &part, JudgementCode code) {
  const auto told = [&](const Remark &remark) {
    Remark ofWrapper = remark;
    if (ofWrapper.file.empty())
      ofWrapper.file = part.path;
    return ofWrapper;
  };
  if (part.verdict.code == code)
    return told(part.verdict);
  const auto found = std::ranges::find(part.remarks, code, &Remark::code);
  return found == part.remarks.end() ? std::nullopt : std::optional(told(*found));
}

Remark causeOf(const std::vector<Judgement> &parts) {
  for (const JudgementCode code : kCauses)
    for (const Judgement &part : parts)
      if (auto cause = wordsOfPart(part, code))
        return *cause;
  return {.code = JudgementCode::noDescription};
}

} // namespace

std::string_view wordOf(JudgementCode code) { return kWords[static_cast<std::size_t>(code)]; }

std::optional<JudgementCode> judgementCodeOf(std::string_view word) {
  const auto *const end = kWords.begin() + kJudgementCodes; // nobody asks for details by their word
  const auto *const found = std::find(kWords.begin(), end, word);
  if (found == end)
    return std::nullopt;
  return static_cast<JudgementCode>(found - kWords.begin());
}

void Judge::open(const NSString &dir, std::string_view file) {
  Open entry;
  entry.judgement.path =
      dir ? dir.stringByAppendingPathComponent(file).bytes() : std::string_view(file);
  open_.push_back(std::move(entry));
}

void Judge::enterWrapper() {
  if (!open_.empty())
    open_.back().isWrapper = true;
}

void Judge::setVerdict(Remark verdict) {
  if (!open_.empty() && !open_.back().verdict)
    open_.back().verdict = std::move(verdict);
}

void Judge::addRemark(Remark remark) {
  if (open_.empty())
    return;
  Judgement &judgement = open_.back().judgement;
  if (isDetail(remark.code))
    noteDetail(judgement.path, remark);
  else if (judgement.remarks.size() < kMostRemarks)
    judgement.remarks.push_back(std::move(remark));
  else if (judgement.remarks.size() == kMostRemarks)
    judgement.remarks.push_back({.code = JudgementCode::limitsReached});
}

void Judge::countRecords(std::size_t number) {
  if (!open_.empty())
    open_.back().judgement.records += number;
}

void Judge::close() {
  Open entry = std::move(open_.back());
  open_.pop_back();
  const std::size_t records = entry.judgement.records;
  settle(entry);
  if (!open_.empty() && open_.back().isWrapper) {
    Open &wrapper = open_.back();
    wrapper.recordsOfParts += records;
    wrapper.parts.push_back(std::move(entry.judgement));
    std::ranges::move(entry.parts, std::back_inserter(wrapper.parts));
    return;
  }
  note(entry.judgement);
  for (const Judgement &part : entry.parts)
    note(part);
}

// The entry's own records and its verdict. Where fewer were taken than its parts have made, for the
// search ended there, the last parts have made none.
void Judge::settle(Open &entry) {
  std::size_t &own = entry.judgement.records;
  std::size_t lost = entry.recordsOfParts - std::min(own, entry.recordsOfParts);
  own -= std::min(own, entry.recordsOfParts);
  for (auto part = entry.parts.rbegin(); lost > 0 && part != entry.parts.rend(); ++part) {
    const std::size_t less = std::min(lost, part->records);
    part->records -= less;
    lost -= less;
    if (less > 0 && part->records == 0)
      part->verdict = {.code = JudgementCode::limitsReached};
  }
  if (own > 0)
    entry.judgement.verdict = {.code = JudgementCode::found};
  else if (entry.verdict)
    entry.judgement.verdict = std::move(*entry.verdict);
  else
    entry.judgement.verdict = causeOf(entry.parts);
}

JudgementCode codeOfError(int error, JudgementCode missing, JudgementCode forbidden) {
  switch (error) {
  case ENOENT:
  case ENOTDIR:
    return missing;
  case EACCES:
  case EPERM:
    return forbidden;
  case ELOOP:
    return JudgementCode::linkCycle;
  case ENAMETOOLONG:
    return JudgementCode::pathTooLong;
  case ENXIO:
  case ENODEV:
  case EINVAL:
    return JudgementCode::specialFile;
  default:
    return JudgementCode::readError;
  }
}

void giveVerdictOfFailure(JudgementCode missing, JudgementCode forbidden) {
  giveVerdict([&] { return Remark{.code = codeOfError(lastReadFailure(), missing, forbidden)}; });
}

} // namespace tesker
