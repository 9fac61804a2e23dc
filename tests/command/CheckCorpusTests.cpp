// check of all that the fuzzers start from, against what the parsers make of it: never silent about
// what they drop, never an error about what they take.
#include "filesystem/TeskerFileManagerMethods.h"
#include "finding/ApplicationWalk.h"
#include "fuzz/Tree.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/WrapperDescriptions.h"
#include "platform/foundation/PropertyList.h"
#include "tests/command/CheckTest.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/LogCapture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tesker::test {
namespace {

class CorpusTest : public CheckTest {
protected:
  // Each input of the fuzzer as the contents of a file.
  template <class Check> static void forEachInput(const std::string &fuzzer, Check check) {
    std::size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(kCorpus + fuzzer)) {
      std::ifstream stream(entry.path(), std::ios::binary);
      check(std::string(std::istreambuf_iterator<char>(stream), {}), entry.path().string());
      ++count;
    }
    EXPECT_GT(count, 10U);
  }
  // The inputs of all fuzzers.
  template <class Check> static void forEachInput(Check check) {
    for (const auto &entry : std::filesystem::directory_iterator(kCorpus))
      forEachInput(entry.path().filename().string(), check);
  }

private:
  inline static const std::string kCorpus = std::string(TESKER_SOURCE) + "/fuzz/corpus/";
};

// ---- headers ----

// Of a text that the parser takes wholly, the lines make as many records as they are.
TEST_F(CorpusTest, HeadersAreAnErrorExactlyWhereTheParserLogs) {
  forEachInput([&](const std::string &text, const std::string &name) {
    const std::string path = directory_.writeFile("text", text);
    const LogCapture log;
    const Records records = parseHeaderText(text, NSString::create(path), NSDefaultMallocZone());
    const bool dropped = !log.syslogged.empty();
    EXPECT_EQ(hasErrors(findings("text", DescriptionKind::header)), dropped) << name;
    directory_.writeFile("image", imageWithHeader(text), 0755);
    EXPECT_EQ(hasErrors(findings("image")), dropped || records.empty()) << name;
  });
}

// ---- lists ----

bool isStringOrAbsent(const NSDictionary &list, std::string_view key) {
  return list.objectForKey(key) == nullptr || list.stringForKey(key);
}

// Of the values that are dictionaries, the icons.
bool takesIconsIn(const NSDictionary &types, std::string_view key) {
  return std::all_of(types.begin(), types.end(), [&](const auto &type) {
    const NSDictionary *value = type.value->asDictionary();
    return value == nullptr || isStringOrAbsent(*value, key);
  });
}

bool takesType(const NSObject &element) {
  const NSDictionary *type = element.asDictionary();
  const NSArray *extensions = type != nullptr ? type->arrayForKey("NSExtensions") : nullptr;
  return extensions != nullptr && isStringOrAbsent(*type, "NSIcon") &&
         std::all_of(extensions->begin(), extensions->end(),
                     [](const auto &name) { return bool(name->asString()); });
}

// Whether every value goes into a record, or is one that nobody looks for. As the documents have
// it.
bool takesList(const NSDictionary &list) {
  if (list.objectForKey("NSServices") != nullptr && list.arrayForKey("NSServices") == nullptr)
    return false;
  if (const NSArray *types = list.arrayForKey("NSTypes"))
    return std::all_of(types->begin(), types->end(),
                       [](const auto &element) { return takesType(*element); });
  if (list.objectForKey("NSTypes") != nullptr)
    return false;
  const NSDictionary *extensions = list.dictionaryForKey("NSExtensions");
  return extensions != nullptr ? takesIconsIn(*extensions, "NSIcon")
                               : list.objectForKey("NSExtensions") == nullptr;
}

bool takesRegistry(const NSDictionary &registry) {
  const NSDictionary *types = registry.dictionaryForKey("NSDocumentTypes");
  const NSArray *inspectors = registry.arrayForKey("NSNodeInspectors");
  if (types == nullptr && registry.objectForKey("NSDocumentTypes") != nullptr)
    return false;
  if (inspectors == nullptr && registry.objectForKey("NSNodeInspectors") != nullptr)
    return false;
  return (types == nullptr || takesIconsIn(*types, "NSImageName")) &&
         (inspectors == nullptr ||
          std::all_of(inspectors->begin(), inspectors->end(),
                      [](const auto &element) { return element->asDictionary() != nullptr; }));
}

// Nothing where the text is no list.
RefPtr<const NSObject> read(const std::string &text) {
  try {
    return propertyList(text);
  } catch (const NSException &) {
    return nullptr;
  }
}

TEST_F(CorpusTest, ListsAreAnErrorExactlyWhereTheParserDropsSomething) {
  forEachInput([&](const std::string &text, const std::string &name) {
    directory_.writeFile("text", text);
    const auto value = read(text);
    const NSDictionary *list = value ? value->asDictionary() : nullptr;
    const auto asList = findings("text", DescriptionKind::list);
    EXPECT_EQ(hasErrors(asList), list == nullptr || !takesList(*list)) << name;
    const auto asRegistry = findings("text", DescriptionKind::registry);
    EXPECT_EQ(hasErrors(asRegistry), list == nullptr || !takesRegistry(*list)) << name;
    for (const auto &found : {asList, asRegistry})
      EXPECT_EQ(std::ranges::count(found, "malformed-list", &Finding::word), value ? 0 : 1) << name;
  });
}

// Where a list makes no record but the application's, its pairs have gone nowhere.
TEST_F(CorpusTest, ListsThatMakeNoRecordsAreNotPassedOverInSilence) {
  forEachInput([&](const std::string &text, const std::string &name) {
    const std::string path = directory_.writeFile("text", text);
    const NSString file = NSString::create(path);
    for (const DescriptionKind kind : {DescriptionKind::list, DescriptionKind::registry}) {
      const LogCapture log;
      RecordRoom room;
      const auto records = kind == DescriptionKind::list
                               ? parseNewStyle(file, nullptr, file, room)
                               : parseOldNewStyle(file, nullptr, file, room);
      const auto found = findings("text", kind);
      EXPECT_TRUE(hasErrors(found) || (records && log.syslogged.empty())) << name;
      EXPECT_TRUE(!found.empty() || records->size() > 1 || text.find('=') == std::string::npos)
          << name;
    }
  });
}

// ---- executables and trees ----

TEST_F(CorpusTest, ImagesAreAnErrorExactlyWhereTheyMakeNoRecordsOrTheParserLogs) {
  forEachInput("MachOFuzzer", [&](const std::string &bytes, const std::string &name) {
    directory_.writeFile("image", bytes, 0755);
    const LogCapture log;
    const auto records = parseApp(NSFileManager::classObject(), directory_.string(), "image"_ns,
                                  NSDefaultMallocZone());
    const bool dropped = !records || records->empty() || !log.syslogged.empty();
    EXPECT_EQ(hasErrors(findings("image")), dropped) << name;
  });
}

// Whatever is logged of a tree is an error, and what makes no records is not passed over.
TEST_F(CorpusTest, TreesAreNeverPassedOverInSilence) {
  for (const char *fuzzer : {"WrapperFuzzer", "WalkFuzzer"})
    forEachInput(fuzzer, [&](const std::string &bytes, const std::string &name) {
      if (name.find("failing") != std::string::npos) // of which system calls are to fail
        return;
      Input input(bytes);
      input.byte(); // what the fuzzer does with the tree
      const Tree tree(input);
      const LogCapture log;
      ApplicationWalk walk([] {});
      walk.doForPath(NSString::create(tree.path()));
      std::vector<Finding> found;
      EXPECT_TRUE(checkFile(tree.path(), std::nullopt,
                            [&](const Finding &finding) { found.push_back(finding); }));
      EXPECT_TRUE(log.syslogged.empty() || hasErrors(found)) << name << log.syslogged.front();
      EXPECT_TRUE(!walk.lines().empty() || !found.empty()) << name;
    });
}

} // namespace
} // namespace tesker::test
