// The icon header: a text of lines ended by line feeds, in section "__header" of segment "__ICON".
//
//   F <tab> name <tab> application <tab> icon             the application itself
//   S <tab> extension <tab> application [<tab> icon]      a document type that it handles
//   { key = value; }                                      a record as a property list; may span
//   lines
//
// One or more tabs separate words; a byte 0 or the end of the section ends the text.

#include "filesystem/FileManagerUtils.h"
#include "parsing/AppParsing.h"
#include "parsing/ArchitectureCheck.h"
#include "parsing/TKLine.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/images/SectionStream.h"

#include <algorithm>
#include <array>
#include <string>

namespace tesker {

namespace {

constexpr std::string_view kIconSegment = "__ICON";
constexpr std::size_t kLongestWord = 1024;
// A brace line's body is kept whole, and its values take up to fifty times its size, so a hostile
// file must not be able to fill the memory: a longer one fails and ends the text.
constexpr std::size_t kLongestBraceBody = std::size_t{16} << 20;
// A record takes some hundred bytes however short its line is, and a line without one a log line.
constexpr std::size_t kMostLines = 100'000;

// Document types whose icon is the file browser's own business.
constexpr std::array<std::string_view, 15> kExtensionsWithoutIcon = {
    "font", "objlink", "service",   "tif", "tiff",       "eps", "snd",      "bundle",
    "clr",  "chunk",   "encrypted", "tar", "compressed", "Z",   "addresses"};

// The words of one line. No command has more than four, so only those are kept; all are counted.
struct Words {
  std::array<std::string, 4> kept;
  std::size_t count = 0;

  void add(std::string word) {
    if (count < kept.size())
      kept[count] = std::move(word);
    ++count;
  }
};

// Appends the character of the code 0 to 255 as UTF-8.
void appendCharacter(std::string &text, int code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else {
    text += static_cast<char>(0xC0 | (code >> 6));
    text += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// Reads the header of one executable, line by line.
class HeaderParser {
public:
  HeaderParser(SectionStream &stream, const NSString &dir, const char *bytePath, NSZone &zone)
      : stream_(stream), zone_(zone), bytePath_(bytePath),
        keepsAllIcons_(dir.bytes().find("/Tesker.") != std::string_view::npos) {}

  // Appends the records, in text order, to the result.
  void parse(NSMutableArray &result, const NSString &path, bool suitable) {
    const Ref<NSString> ownPath = path.copy(zone_); // one object for all records
    advance();
    for (std::size_t lines = 0; !atEnd(); ++lines) {
      if (lines == kMostLines) {
        syslogError("*** Applications Finder: too many lines in icon header of %s", {bytePath_});
        return;
      }
      const RefPtr<TKLine> record = current_ == '{' ? braceLine() : wordLine();
      if (record) {
        record->set("path", ownPath);
        if (!suitable)
          record->set("suitable", "no");
        result.addObject(record);
      }
      if (current_ == '\n')
        advance();
    }
  }

private:
  void advance() { current_ = stream_.next(); }
  bool atEnd() const { return current_ == SectionStream::kEnd || current_ == 0; }
  bool atLineEnd() const { return atEnd() || current_ == '\n'; }
  void skipTabs() {
    while (current_ == '\t')
      advance();
  }

  RefPtr<TKLine> braceLine() {
    std::string text = "{ ";
    std::size_t length = 0;
    for (advance(); current_ != '}' && current_ != SectionStream::kEnd; advance()) {
      if (++length > kLongestBraceBody) {
        syslogError("*** Applications Finder: incorrect command format for %s", {bytePath_});
        current_ = SectionStream::kEnd;
        return nullptr;
      }
      appendCharacter(text, current_); // each byte is the character of that code
    }
    const bool complete = current_ == '}';
    const RefPtr<TKLine> record = TKLine::initWithString(zone_, text += " }");
    if (!record || !complete) {
      // Reading goes on at the "}" itself, so the rest of the line is reported as malformed too.
      syslogError("*** Applications Finder: incorrect command format for %s", {bytePath_});
      return nullptr;
    }
    advance();
    skipTabs();
    return record;
  }

  RefPtr<TKLine> wordLine() {
    const Words words = splitLine();
    const std::string &command = words.kept[0];
    if ((command == "F" || command == "f") && words.count == 4)
      return applicationRecord(words);
    if ((command == "S" || command == "s") && (words.count == 3 || words.count == 4))
      return extensionRecord(words);
    if (words.count > 0)
      syslogError("*** Applications Finder: incorrect icon header format for %s", {bytePath_});
    return nullptr;
  }

  // A leading tab makes an empty first word; tabs before the end of the line make none.
  Words splitLine() {
    Words words;
    while (!atLineEnd()) {
      std::string word;
      while (!atLineEnd() && current_ != '\t' && word.size() < kLongestWord) {
        word += static_cast<char>(current_);
        advance();
      }
      words.add(std::move(word));
      skipTabs();
    }
    return words;
  }

  Ref<TKLine> applicationRecord(const Words &words) {
    auto record = TKLine::create(3, zone_);
    record->set("type", "app");
    record->set("name", words.kept[1]);
    record->set("appName", words.kept[2]);
    record->set("icon", words.kept[3]);
    return record;
  }

  Ref<TKLine> extensionRecord(const Words &words) {
    const std::string &extension = words.kept[1];
    auto record = TKLine::create(3, zone_);
    record->set("type", "extension");
    record->set("name", extension);
    record->set("appName", words.kept[2]);
    const bool iconIgnored = std::find(kExtensionsWithoutIcon.begin(), kExtensionsWithoutIcon.end(),
                                       extension) != kExtensionsWithoutIcon.end();
    if (words.count == 4 && (keepsAllIcons_ || !iconIgnored))
      record->set("icon", words.kept[3]);
    return record;
  }

  SectionStream &stream_;
  NSZone &zone_;
  const char *bytePath_;
  const bool keepsAllIcons_;
  int current_ = SectionStream::kEnd;
};

bool hasIconSection(ImageSource &image, std::string_view section) {
  return QXGetStreamOnSectionForBestArchitecture(image, kIconSegment, section).has_value();
}

// Whether the pair is something that could be run, links followed.
bool isExecutableFile(NSFileManager &fileManagerClass, const NSString &dir, const NSString *file) {
  try {
    const auto info = fileManagerClass._privateStatDir(dir, file);
    return info && !info->isDirectory() && info->canExecute() != 0;
  } catch (const NSException &) {
    return false;
  }
}

void addServicesRecord(NSMutableArray &result, const NSString &path, NSZone &zone) {
  auto record = TKLine::create(2, zone);
  record->set("path", path.copy());
  record->set("type", "services");
  result.addObject(std::move(record));
}

void addBundleRecord(NSMutableArray &result, const NSString &path, const NSString *file,
                     NSZone &zone) {
  auto record = TKLine::create(3, zone);
  record->set("path", path.copy());
  record->set("type", "bundle");
  if (file != nullptr)
    record->set("name", file->copy());
  result.addObject(std::move(record));
}

} // namespace

RefPtr<NSMutableArray> parseApp(NSFileManager &fileManagerClass, const NSString &dir,
                                const NSString *file, NSZone &zone) {
  auto result = NSMutableArray::create();
  PathBuffer bytePath;
  TeskerSetCPath(bytePath, &dir, file);
  if (!isExecutableFile(fileManagerClass, dir, file))
    return nullptr;
  // Opened once, for the check and for the sections.
  auto image = FileImage::open(bytePath);
  if (!image)
    return nullptr;
  const Suitability suitability = isSuitableArchitecture(*image);
  if (suitability == Suitability::kCannotTell)
    return nullptr;

  const auto path = TeskerCatDirFile(dir, file);
  if (hasIconSection(*image, "__services") || hasIconSection(*image, "__request"))
    addServicesRecord(*result, *path, zone);
  auto header = QXGetStreamOnSectionForBestArchitecture(*image, kIconSegment, "__header");
  if (!header)
    return result;
  HeaderParser(*header, dir, bytePath, zone)
      .parse(*result, *path, suitability == Suitability::kSuitable);
  if (isEqual(getSuffix(&dir).get(), "bundle"))
    addBundleRecord(*result, *path, file, zone);
  return result;
}

} // namespace tesker
