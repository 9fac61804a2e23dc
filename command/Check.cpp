#include "command/Check.h"

#include "command/CheckJudge.h"
#include "command/ChildMessages.h"
#include "command/ConfinedChild.h"
#include "command/SearchPath.h"
#include "filesystem/TextFunctions.h"
#include "finding/ApplicationWalk.h"
#include "parsing/AppWrapperParser.h"
#include "parsing/DescriptionJudgement.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/ImageJudgement.h"
#include "parsing/WrapperDescriptions.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Text.h"

#include <cerrno>
#include <string_view>

namespace tesker {

namespace {

bool beginsAsCommand(std::string_view line) {
  return line.size() > 1 && std::string_view("FfSs").find(line[0]) != std::string_view::npos &&
         line[1] == '\t';
}

// What a text says that is called otherwise than descriptions are. Only which parser reads it is
// guessed here.
DescriptionKind kindOfText(std::string_view text) {
  const auto names = [&](std::string_view key) { return text.find(key) != std::string_view::npos; };
  for (std::size_t start = 0; start < text.size();) {
    if (beginsAsCommand(text.substr(start)))
      return DescriptionKind::header;
    const std::size_t end = text.find('\n', start);
    start = end == std::string_view::npos ? text.size() : end + 1;
  }
  if (names("NSDocumentTypes") || names("NSNodeInspectors"))
    return DescriptionKind::registry;
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  const bool isList = first != std::string_view::npos &&
                      std::string_view("{(<\"/").find(text[first]) != std::string_view::npos;
  return isList || names("NS") ? DescriptionKind::list : DescriptionKind::header;
}

// Nothing for what is not a text: a program, a wrapper, another directory.
Result<std::optional<DescriptionKind>> kindOf(const std::string &path) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) != 0)
    return Failure{errno};
  if (S_ISDIR(status.st_mode))
    return std::optional<DescriptionKind>();
  auto opened = openRegularFile(path.c_str());
  if (!opened)
    return opened.failure();
  const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
  if (name == kInfoListName)
    return std::optional(DescriptionKind::list);
  if (name == kRegistryName)
    return std::optional(DescriptionKind::registry);
  FileImage image(std::move(*opened));
  if (isProgram(image))
    return std::optional<DescriptionKind>();
  std::string start(std::size_t{1} << 16, '\0');
  start.resize(image.read(0, std::as_writable_bytes(std::span(start))));
  return std::optional(kindOfText(start));
}

// The header's text; it is read as far as a description is.
std::optional<Records> headerRecords(const NSString &path) {
  const Result<std::string> text = contentsOfFile(path, kLargestPropertyListFile);
  if (text)
    return parseHeaderText(*text, path, NSDefaultMallocZone());
  remarkOnUnreadable(path, text.failure().error);
  return std::nullopt;
}

Records recordsOf(const std::string &path, DescriptionKind kind) {
  const NSString file = NSString::create(path);
  const std::string wrapper = wrapperOf(path);
  const NSString name = strip(NSString::create(wrapper.substr(wrapper.rfind('/') + 1)));
  const NSString program =
      wrapper.empty() ? file
                      : NSString::create(wrapper).stringByAppendingPathComponent(name.bytes());
  RecordRoom room;
  std::optional<Records> records;
  judged(nullptr, path, [&] {
    if (kind == DescriptionKind::header)
      records = headerRecords(file);
    else if (kind == DescriptionKind::list)
      records = parseNewStyle(program, name, file, room);
    else
      records = parseOldNewStyle(program, name, file, room);
  });
  return wrapper.empty() ? Records() : std::move(records).value_or(Records());
}

// A path in the words in which the absolute one was given.
std::string asNamed(const std::string &path, const std::string &absolute,
                    const std::string &given) {
  if (path.starts_with(absolute))
    return given + path.substr(absolute.size());
  const std::size_t above = absolute.ends_with(given) ? absolute.size() - given.size() : 0;
  return path.starts_with(absolute.substr(0, above)) ? path.substr(above) : path;
}

Records recordsBelow(const std::string &path) {
  ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = true});
  try {
    walk.doForPath(NSString::create(path));
  } catch (const NSException &) { // which the verdict says
  }
  return walk.lines();
}

} // namespace

Result<> checkFile(const std::string &path, std::optional<DescriptionKind> kind,
                   const std::function<void(const Finding &)> &sink) {
  const LogSilence silence; // the parsers log what is told here
  const std::string given(withoutSlashesAtItsEnd(path));
  const std::string absolute = absoluteSearchPath(given);
  const auto told = kindOf(absolute);
  if (!told)
    return told.failure();
  if (!kind)
    kind = *told;
  CheckJudge judge(absolute, kind.has_value(), [&](Finding finding) {
    finding.file = asNamed(finding.file, absolute, given);
    sink(finding);
  });
  judge.finish(kind ? recordsOf(absolute, *kind) : recordsBelow(absolute));
  return {};
}

std::vector<Finding> checkHeader(std::string_view text, const std::string &path) {
  const LogSilence silence;
  const std::string absolute = absoluteSearchPath(path);
  Findings findings;
  CheckJudge judge(absolute, true, [&](Finding finding) {
    finding.file = path;
    findings.add(std::move(finding));
  });
  judged(nullptr, absolute,
         [&] { (void)parseHeaderText(text, NSString::create(absolute), NSDefaultMallocZone()); });
  return std::move(findings).sorted();
}

CheckAnswer check(const std::string &path, std::optional<DescriptionKind> kind,
                  std::chrono::nanoseconds timeout) {
  CheckAnswer answer;
  Findings findings;
  answer.failure = runConfined(
      timeout,
      [&](const SendMessage &send) {
        const auto tell = [&](const Finding &finding) { send(messageOf(finding)); };
        if (const Result<> read = checkFile(path, kind, tell); !read)
          send(messageOfError(read.error()));
      },
      [&](std::string_view message) {
        if (auto finding = findingIn(message))
          findings.add(std::move(*finding));
        else
          answer.error = errorIn(message).value_or(answer.error);
      });
  answer.findings = std::move(findings).sorted();
  return answer;
}

} // namespace tesker
