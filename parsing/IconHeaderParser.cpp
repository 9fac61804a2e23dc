#include "parsing/IconHeaderParser.h"

#include "filesystem/TextFunctions.h"
#include "parsing/HeaderJudgement.h"
#include "parsing/IconSections.h"
#include "parsing/ImageJudgement.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Text.h"
#include "platform/images/MachOImage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <string>
#include <utility>

namespace tesker {

namespace {

constexpr std::size_t kLongestWord = 1024;
// A brace line's body is kept whole, and its values take up to fifty times its size, so a hostile
// file must not be able to fill the memory: a longer one fails and ends the text.
constexpr std::size_t kLongestBraceBody = std::size_t{16} << 20;
// A record takes some hundred bytes however short its line is, and a line without one a log line.
// Empty lines cost neither.
constexpr std::size_t kMostLines = 100'000;

// Document types whose icon is the file browser's own business.
constexpr std::array<std::string_view, 15> kExtensionsWithoutIcon = {
    "font", "objlink", "service",   "tif", "tiff",       "eps", "snd",      "bundle",
    "clr",  "chunk",   "encrypted", "tar", "compressed", "Z",   "addresses"};

// The words of one line. No command has more than four, so only those are kept; all are counted.
struct Words {
  std::array<std::string, 4> kept;
  std::array<std::size_t, 5> columns{}; // of those, and of the first beyond them
  std::size_t count = 0;

  void add(std::string word, std::size_t column) {
    if (count < columns.size())
      columns[count] = column;
    if (count < kept.size())
      kept[count] = std::move(word);
    ++count;
  }
};

// Reads the header of one executable, line by line.
class HeaderParser {
public:
  HeaderParser(SectionStream &stream, const NSString &dir, const char *bytePath, NSZone &zone)
      : stream_(stream), zone_(zone), bytePath_(bytePath),
        keepsAllIcons_(dir.bytes().find("/Tesker.") != std::string_view::npos) {}

  // Appends the records, in text order, to the result.
  void parse(Records &result, const NSString &path, bool suitable) {
    const NSString ownPath = path.copy(zone_); // the same bytes for all records
    lineStart_ = stream_.offset();
    for (advance(); !atEnd(); skipLineFeed()) {
      if (current_ == '\n')
        continue;
      if (linesTaken_++ == kMostLines) {
        remark([&] { return Remark{.code = JudgementCode::limitsReached, .line = line_}; });
        syslogError("*** Applications Finder: too many lines in icon header of %s", {bytePath_});
        return;
      }
      std::optional<TKLine> record = current_ == '{' ? braceLine() : wordLine();
      if (!record)
        continue;
      record->set(recordWords().path, ownPath);
      if (!suitable)
        record->set(recordWords().suitable, recordWords().no);
      result.push_back(std::move(*record));
    }
    remarkOnRest();
  }

private:
  void advance() { current_ = stream_.next(); }
  bool atEnd() const { return current_ == SectionStream::kEnd || current_ == 0; }
  bool atLineEnd() const { return atEnd() || current_ == '\n'; }
  void skipLineFeed() {
    if (current_ != '\n')
      return;
    startLine();
    advance();
  }
  // Behind the line feed that is the current byte.
  void startLine() {
    ++line_;
    lineStart_ = stream_.offset();
  }
  // Of the current byte in its line, or of the end.
  std::size_t column() const {
    return stream_.offset() - lineStart_ + (current_ == SectionStream::kEnd ? 1 : 0);
  }
  HeaderPlace place() const { return {line_, column()}; }
  void skipTabs() {
    while (current_ == '\t')
      advance();
  }

  std::optional<TKLine> braceLine() {
    std::string text = "{ ";
    std::size_t length = 0;
    const HeaderPlace start = place();
    for (advance(); current_ != '}' && current_ != SectionStream::kEnd; advance()) {
      if (current_ == '\n')
        startLine();
      if (++length > kLongestBraceBody) {
        remarkOnHeader(start, "a body of more than 16 MiB");
        syslogError("*** Applications Finder: incorrect command format for %s", {bytePath_});
        current_ = SectionStream::kEnd;
        return std::nullopt;
      }
      appendUtf8(text, static_cast<char32_t>(current_)); // each byte is the character of that code
    }
    const bool complete = current_ == '}';
    std::optional<TKLine> record = TKLine::initWithString(zone_, text += " }");
    if (!record || !complete) {
      // Kept: reading goes on at the "}" itself, so the rest of the line is reported as malformed
      // too; authors look for both lines.
      if (complete)
        remarkOnBraces(start, text);
      else
        remarkOnHeader(start, "a brace that is not closed");
      isBehindBadBraces_ = complete;
      syslogError("*** Applications Finder: incorrect command format for %s", {bytePath_});
      return std::nullopt;
    }
    tellOfBraces(start, text);
    advance();
    skipTabs();
    return record;
  }

  std::optional<TKLine> wordLine() {
    const HeaderPlace start = place();
    const Words words = splitLine();
    const bool isTail = std::exchange(isBehindBadBraces_, false); // and has been remarked on
    const std::string &command = words.kept[0];
    if ((command == "F" || command == "f") && words.count == 4)
      return applicationRecord(words);
    if ((command == "S" || command == "s") && (words.count == 3 || words.count == 4))
      return extensionRecord(words);
    if (!isTail)
      remarkOnWords(start, words);
    syslogError("*** Applications Finder: incorrect icon header format for %s", {bytePath_});
    return std::nullopt;
  }

  // A line that is not a command; where it is nearly one, at what is missing or too much.
  void remarkOnWords(HeaderPlace start, const Words &words) const {
    const std::string &command = words.kept[0];
    const bool isApplication = command == "F" || command == "f";
    if (Judge::current() == nullptr)
      return;
    if (command.empty())
      return remarkOnHeader(start, "a tab before the first word");
    if (!isApplication && command != "S" && command != "s")
      return remarkOnHeader(start, words.count == 1 && command.find(' ') != std::string::npos
                                       ? command + ": words are separated by tabs"
                                       : command);
    remarkOnHeader(
        {start.line, words.count > 4 ? words.columns[4] : column()},
        command + (isApplication ? " takes 3 words and not " : " takes 2 or 3 words and not ") +
            std::to_string(words.count - 1));
  }

  // A NUL ends the text. Those that fill a section up are not worth a word.
  void remarkOnRest() {
    if (current_ != 0 || !Judge::currentWantsDetails())
      return;
    const HeaderPlace end = place();
    while (current_ == 0)
      advance();
    if (current_ != SectionStream::kEnd)
      tellOfHeader(end, JudgementCode::ignored, "a NUL ends the text, and there is more behind it");
  }

  // A leading tab makes an empty first word; tabs before the end of the line make none.
  Words splitLine() {
    Words words;
    while (!atLineEnd()) {
      std::string word;
      const std::size_t start = column();
      while (!atLineEnd() && current_ != '\t' && word.size() < kLongestWord) {
        word += static_cast<char>(current_);
        advance();
      }
      if (!atLineEnd() && current_ != '\t')
        tellOfHeader(place(), JudgementCode::ignored,
                     "a word of more than 1024 bytes is taken for two");
      words.add(std::move(word), start);
      skipTabs();
    }
    return words;
  }

  TKLine applicationRecord(const Words &words) {
    TKLine record = TKLine::create(kMostPairs, zone_);
    record.set(recordWords().type, recordWords().app);
    record.set(recordWords().name, NSString::create(words.kept[1], zone_));
    tellOfHeader({line_, words.columns[1]}, JudgementCode::nameTaken, words.kept[1]);
    record.set(recordWords().appName, NSString::create(words.kept[2], zone_));
    record.set(recordWords().icon, NSString::create(words.kept[3], zone_));
    return record;
  }

  TKLine extensionRecord(const Words &words) {
    const std::string &extension = words.kept[1];
    TKLine record = TKLine::create(kMostPairs, zone_);
    record.set(recordWords().type, recordWords().extension);
    record.set(recordWords().name, NSString::create(extension, zone_));
    record.set(recordWords().appName, NSString::create(words.kept[2], zone_));
    tellOfHeader({line_, words.columns[1]}, JudgementCode::extensionTaken, extension);
    const bool iconIgnored =
        std::ranges::find(kExtensionsWithoutIcon, extension) != std::end(kExtensionsWithoutIcon);
    if (words.count == 4 && iconIgnored && !keepsAllIcons_)
      tellOfHeader({line_, words.columns[3]}, JudgementCode::ignored,
                   "the icon is the file browser's own business");
    else if (words.count == 4)
      record.set(recordWords().icon, NSString::create(words.kept[3], zone_));
    return record;
  }

  // type, name, appName, icon, path, suitable
  static constexpr std::size_t kMostPairs = 6;

  SectionStream &stream_;
  NSZone &zone_;
  const char *bytePath_;
  const bool keepsAllIcons_;
  int current_ = SectionStream::kEnd;
  std::size_t line_ = 1;
  std::uint64_t lineStart_ = 0;
  bool isBehindBadBraces_ = false;
  std::size_t linesTaken_ = 0; // that made a record or a log line
};

TKLine record(const NSString &path, const NSString &type, NSZone &zone) {
  TKLine made = TKLine::create(3, zone);
  made.set(recordWords().path, path);
  made.set(recordWords().type, type);
  return made;
}

// Reads what is to be known of one executable.
std::optional<Records> parseImage(ImageSource &image, const Entry &executable, NSZone &zone) {
  const IconSections sections = iconSectionsOf(image);
  if (sections.suitability == Suitability::cannotTell) {
    giveVerdict([&] { return architecturesLeaveTheFile(image); });
    return std::nullopt;
  }
  Records result;
  if (!sections.offersServices && !sections.header) {
    giveVerdict([&] { return damagedOrSilent(image, sections.damage); });
    return result;
  }
  const NSString path = TeskerCatDirFile(executable.dir, executable.file);
  if (sections.offersServices)
    result.push_back(record(path, recordWords().services, zone));
  if (!sections.header) {
    giveVerdict([&] { return damagedOrSilent(image, sections.damage); });
    return result;
  }
  if (sections.suitability == Suitability::notSuitable)
    remark([&] { return notForThisProcessor(image); });
  PathBuffer bytePath;
  TeskerSetCPath(bytePath, executable.dir, executable.file);
  SectionStream stream(image, *sections.header);
  HeaderParser(stream, executable.dir, bytePath, zone)
      .parse(result, path, sections.suitability == Suitability::suitable);
  if (suffixOf(executable.dir.bytes()) == "bundle") {
    result.push_back(record(path, recordWords().bundle, zone));
    result.back().set(recordWords().name, executable.file);
  }
  return result;
}

// Whether the attributes are of something that could be run.
bool isExecutableFile(const NSFileAttributes &attributes) {
  return !attributes.isDirectory() && attributes.canExecute() != 0;
}

// Opens the file, by its path where its directory is not open. A path that does not fit into a
// buffer is empty, and an error in itself.
Result<RegularFile> openExecutable(const Entry &executable) {
  if (executable.directory != AT_FDCWD && fitsCPath(executable.dir, executable.file))
    return openRegularFile(executable.file.cString(), executable.directory);
  PathBuffer bytePath;
  TeskerSetCPath(bytePath, executable.dir, executable.file);
  if (bytePath[0] == '\0')
    return Failure{ENAMETOOLONG};
  return openRegularFile(bytePath);
}

} // namespace

Records parseHeaderText(std::string_view text, const NSString &path, NSZone &zone) {
  const auto [dir, file] = TeskerNormalizePathIntoDirFile(path);
  MemoryImage image(std::as_bytes(std::span(text)));
  SectionStream stream(image, {0, text.size()});
  Records result;
  HeaderParser(stream, dir, path.cString(), zone).parse(result, path, true);
  return result;
}

std::optional<Records> parseApp(NSFileManager &fileManagerClass, const NSString &dir,
                                const NSString &file, NSZone &zone) {
  std::optional<NSFileAttributes> attributes;
  try {
    attributes = fileManagerClass._privateStatDir(dir, file);
  } catch (const NSException &) { // as for one that is not there
  }
  if (!attributes) {
    giveVerdictOfFailure(JudgementCode::danglingLink);
    TeskerCheckDirFile(dir, file);
    return std::nullopt;
  }
  return parseApp({dir, file, *attributes}, zone);
}

std::optional<Records> parseApp(const Entry &executable, NSZone &zone) {
  if (!isExecutableFile(executable.attributes)) {
    giveVerdict(fitsCPath(executable.dir, executable.file) ? JudgementCode::notExecutable
                                                           : JudgementCode::pathTooLong);
    return std::nullopt;
  }
  Result<RegularFile> file = openExecutable(executable);
  if (!file) {
    giveVerdict([&] {
      return Remark{.code = codeOfError(file.failure().error, JudgementCode::vanished,
                                        JudgementCode::notReadable)};
    });
    return std::nullopt;
  }
  FileImage image(std::move(*file));
  return parseImage(image, executable, zone);
}

} // namespace tesker
