#include "command/CheckJudge.h"

#include "command/SearchPath.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "filesystem/TextFunctions.h"
#include "making/AmbiguousNames.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/WrapperNames.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesker {

namespace {

bool isThere(const std::string &path) {
  return OperatingSystem::current().access(path.c_str(), F_OK) == 0;
}

// Verdicts that are not worth a word about an entry that was only met on the way.
bool isOrdinary(JudgementCode code) {
  constexpr std::array kOrdinary = {
      JudgementCode::found,         JudgementCode::searched,   JudgementCode::wrapperPart,
      JudgementCode::vanished,      JudgementCode::dotName,    JudgementCode::backupName,
      JudgementCode::notExecutable, JudgementCode::passedOver, JudgementCode::noSelfDescription,
      JudgementCode::specialFile,   JudgementCode::skippedLink};
  return std::ranges::find(kOrdinary, code) != kOrdinary.end();
}

bool hasAtOrBelow(const std::set<std::string> &paths, const std::string &path) {
  const auto next = paths.lower_bound(path + "/");
  return paths.contains(path) || (next != paths.end() && next->starts_with(path + "/"));
}

std::string_view nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

bool isDirectory(const std::string &path) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) == 0 &&
         S_ISDIR(status.st_mode);
}

// Whether the entry of a wrapper, its program or its services, speaks for itself.
bool speaks(const std::string &path) {
  if (nameOf(path) == "services")
    return true;
  struct Deaf final : Judge { // what is said of the entry has been said
    void note(const Judgement &) override {}
  } deaf;
  const auto [dir, file] = TeskerNormalizePathIntoDirFile(NSString::create(path));
  const auto records = parseApp(NSFileManager::classObject(), dir, file, NSDefaultMallocZone());
  return records && !records->empty();
}

// Whether a key of the same file is nearly the one that is missing.
bool isMisspelt(const Remark &missing, const std::vector<Remark> &remarks) {
  return std::ranges::any_of(remarks, [&](const Remark &remark) {
    return remark.code == JudgementCode::unknownKey && remark.file == missing.file &&
           remark.detail.ends_with(": did you mean " + missing.detail + "?");
  });
}

} // namespace

std::string wrapperOf(const std::string &path) {
  std::string_view wrapper = directoryOf(path);
  if (wrapper.ends_with("/Resources"))
    wrapper = directoryOf(wrapper);
  return std::string(suffixOf(wrapper.substr(wrapper.rfind('/') + 1)).empty() ? "" : wrapper);
}

bool hasDescription(const std::string &wrapper) {
  const std::string resources = wrapper + "/" + std::string(kResourcesName) + "/";
  return isThere(resources + std::string(kInfoListName)) ||
         isThere(resources + std::string(kRegistryName)) ||
         isThere(wrapper + "/" + std::string(kRegistryName));
}

void CheckJudge::warn(Finding place, std::string_view word, std::string text) {
  place.word = word;
  place.text = std::move(text);
  place.isError = false;
  sink_(place);
}

void CheckJudge::noteDetail(const std::string &path, const Remark &detail) {
  const Finding finding = findingOf(detail, path);
  if (detail.code == JudgementCode::extensionTaken)
    judgeExtension(finding, detail.detail);
  else if (detail.code == JudgementCode::iconTaken)
    judgeIcon(finding, detail.detail);
  else if (detail.code == JudgementCode::nameTaken)
    judgeTakenName(finding, detail.detail);
  else
    sink_(finding);
}

void CheckJudge::judgeExtension(const Finding &place, const std::string &extension) {
  if (std::string oddity = oddityOf(extension); !oddity.empty())
    warn(place, "odd-extension", std::move(oddity));
  const std::string wrapper = wrapperOf(place.file);
  const std::string where =
      std::to_string(place.line) + " of " + place.file.substr(place.file.rfind('/') + 1);
  const auto [first, isFirst] =
      claims_[wrapper.empty() ? place.file : wrapper].try_emplace(extension, where);
  if (!isFirst)
    warn(place, wordOf(JudgementCode::shadowed),
         "the extension \"" + extension + "\" is claimed already, in line " + first->second);
}

void CheckJudge::judgeIcon(const Finding &place, const std::string &icon) {
  const std::string wrapper = wrapperOf(place.file);
  if (wrapper.empty() || icon.empty())
    return;
  for (const std::string &dir : {wrapper + "/Resources/", wrapper + "/"})
    if (isThere(dir + icon) || isThere(dir + icon + ".tiff"))
      return;
  warn(place, "missing-icon", "the wrapper has no icon " + icon);
}

void CheckJudge::judgeTakenName(const Finding &place, const std::string &name) {
  if (name.find('/') != std::string::npos)
    warn(place, "ambiguous-name",
         "the name \"" + name + "\" has a slash in it: asked for, it is taken for a path");
}

void CheckJudge::judgeRecords(const Records &records) {
  std::set<std::string> programs;
  for (const TKLine &record : records) {
    const NSObject *type = record.objectForKey("type");
    const NSObject *path = record.objectForKey("path");
    const bool isOwn = type != nullptr && type->asString() != recordWords().inspectorCommand;
    if (const NSString program = isOwn && path != nullptr ? path->asString() : nullptr)
      programs.emplace(program.bytes());
  }
  for (const std::string &program : programs) {
    struct stat status {};
    if (OperatingSystem::current().statAt(AT_FDCWD, program.c_str(), true, status) != 0)
      warn({.file = program}, "missing-executable", "the program that is described is not there");
    else if (!S_ISREG(status.st_mode) || (status.st_mode & 0111) == 0)
      warn({.file = program}, "not-executable",
           S_ISREG(status.st_mode) ? "the program that is described has no execute permission"
                                   : "the program that is described is not a regular file");
  }
}

void CheckJudge::add(Finding finding) {
  if (finding.isError)
    faulty_.insert(finding.file);
  sink_(finding);
}

// What has no description: it need not be said again of what is faulty.
void CheckJudge::judgeSilence(Finding finding) {
  if (hasAtOrBelow(faulty_, finding.file))
    return;
  finding.isError = !hasAtOrBelow(recorded_, finding.file);
  sink_(finding);
}

// What is checked itself: it need not be said of a directory that there are applications in it.
void CheckJudge::judgeChecked(Finding finding, JudgementCode code) {
  if (code != JudgementCode::searched || recorded_.empty())
    add(std::move(finding));
}

void CheckJudge::judgeVerdict(const Judgement &judgement) {
  const JudgementCode code = judgement.verdict.code;
  if (code == JudgementCode::passedOver)
    return judgePassedOver(judgement);
  if (code == JudgementCode::wrapperPart)
    return judgeOrder(judgement.path);
  Finding finding = findingOf(judgement.verdict, judgement.path);
  if (code == JudgementCode::noDescription)
    silent_.push_back(std::move(finding));
  else if (judgement.path != path_ && !isOrdinary(code))
    add(std::move(finding));
  else if (judgement.path == path_ && code != JudgementCode::found)
    checked_.emplace(std::move(finding), code);
}

// What a wrapper's description keeps from being looked at; most programs say nothing of themselves.
void CheckJudge::judgePassedOver(const Judgement &judgement) {
  if (speaks(judgement.path))
    sink_(findingOf(judgement.verdict, judgement.path));
}

// What counts beside a wrapper's description, and would not if the directory had it behind that.
void CheckJudge::judgeOrder(const std::string &path) {
  const std::string wrapper(directoryOf(path));
  const std::string_view program = nameOf(wrapper).substr(0, nameOf(wrapper).rfind('.'));
  if (nameOf(path) != program && nameOf(path) != "services")
    return;
  if (hasDescription(wrapper) && speaks(path))
    warn({.file = path}, "described-twice",
         "it counts beside the description only because the directory has it before that");
}

void CheckJudge::judgeName(const std::string &path) {
  if (!isWrapperSuffix(suffixOf(nameOf(path))) && !isNestedWrapperName(nameOf(path)))
    return;
  std::string oddity = oddityOfWrapperName(nameOf(path));
  if (!oddity.empty() && isDirectory(path))
    warn({.file = path}, "ambiguous-name", std::move(oddity));
}

void CheckJudge::judgeRemarks(const Judgement &judgement) {
  for (const Remark &remark : judgement.remarks) {
    // Of a wrapper that makes no records, the verdict says it.
    if (remark.code == JudgementCode::noDescription && !isDescription_)
      continue;
    if (remark.code == JudgementCode::missingKey && isMisspelt(remark, judgement.remarks))
      continue;
    add(findingOf(remark, judgement.path));
  }
}

void CheckJudge::note(const Judgement &judgement) {
  if (judgement.records > 0)
    recorded_.insert(judgement.path);
  judgeRemarks(judgement);
  judgeName(judgement.path);
  if (!isDescription_)
    judgeVerdict(judgement);
}

void CheckJudge::finish(const Records &records) {
  judgeRecords(records);
  if (checked_)
    judgeChecked(checked_->first, checked_->second);
  for (const Finding &finding : silent_)
    judgeSilence(finding);
}

} // namespace tesker
