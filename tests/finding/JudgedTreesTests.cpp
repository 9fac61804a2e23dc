// Random trees: each entry has one verdict, and a judge that listens changes nothing.
#include "finding/ApplicationFinder.h"
#include "tests/finding/JudgementTest.h"

#include <random>
#include <set>
#include <sys/stat.h>

namespace tesker::test {
namespace {

class RandomTree {
public:
  RandomTree(const TemporaryDirectory &directory, unsigned seed)
      : directory_(directory), random_(seed) {
    directory_.makeDirectory("tree");
    fill("tree", 0);
  }

private:
  unsigned below(unsigned end) { return static_cast<unsigned>(random_() % end); }
  std::string name() {
    static const char *const kNames[] = {"a",
                                         "b.app",
                                         "c.tool",
                                         "d.bundle",
                                         ".e",
                                         "f~",
                                         "g.debug",
                                         "Tesker.app",
                                         "services",
                                         "b",
                                         "registry.table",
                                         "Resources",
                                         "Info-quorvale.plist",
                                         "h.apps",
                                         "c",
                                         "d"};
    return kNames[below(std::size(kNames))];
  }
  std::string bytes() {
    static const std::string kBytes[] = {
        "",          "#!/bin/sh\n",
        kDescribing, imageOf(examples::kM68k, "S\ta\tb\nx\n"),
        "{}",        "{ NSExecutable = x; NSTypes = ({ NSExtensions = (a); }, b); }",
        "(",         kDescribing.substr(0, 40)};
    return kBytes[below(std::size(kBytes))];
  }
  void fill(const std::string &path, unsigned depth) {
    static const mode_t kModes[] = {0755, 0755, 0644, 0600};
    for (unsigned i = below(7); i > 0; --i) {
      const std::string entry = path + "/" + name();
      struct stat status;
      if (::lstat(directory_.path(entry).c_str(), &status) == 0)
        continue;
      switch (below(depth < 4 ? 5 : 2)) {
      case 0:
        directory_.writeFile(entry, bytes(), kModes[below(4)]);
        break;
      case 1:
        directory_.makeLink(entry, below(2) == 0 ? "nowhere" : "a");
        break;
      default:
        directory_.makeDirectory(entry);
        fill(entry, depth + 1);
        ::chmod(directory_.path(entry).c_str(), kModes[below(3)]);
      }
    }
  }

  const TemporaryDirectory &directory_;
  std::mt19937 random_;
};

// The paths that a search meets, found without it.
class MetPaths {
public:
  explicit MetPaths(const std::string &path) { judge(path, false); }
  const std::multiset<std::string> &paths() const { return paths_; }

private:
  static std::string suffix(const std::string &path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.rfind('.') == std::string::npos ? "" : name.substr(name.rfind('.') + 1);
  }
  static std::vector<std::string> namesIn(const std::string &path) {
    std::vector<std::string> names;
    if (const auto listing = DirectoryListing::read(NSString::create(path), {}))
      for (std::size_t i = 0; i < listing->count(); ++i)
        names.emplace_back(listing->name(i));
    return names;
  }
  void judge(const std::string &path, bool inWrapper) {
    paths_.insert(path);
    struct stat status;
    if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        (status.st_mode & 0111) == 0)
      return;
    if (inWrapper || suffix(path) == "app" || suffix(path) == "debug")
      wrapper(path);
    else
      for (const std::string &name : namesIn(path)) {
        if (name.starts_with('.') || name.ends_with('~'))
          paths_.insert(path + "/" + name);
        else
          judge(path + "/" + name, false);
      }
  }
  void wrapper(const std::string &path) {
    for (const std::string &name : namesIn(path)) {
      const std::string below = path + "/" + name;
      const bool isNested = suffix(name) == "tool" || suffix(name) == "bundle";
      if (isNested || (name == "Resources" && path.find("Tesker", path.rfind('/')) != path.npos))
        judge(below, true);
      else
        paths_.insert(below);
    }
  }

  std::multiset<std::string> paths_;
};

TEST(RandomTrees, HaveOneVerdictForEachEntryAndTheSameAnswerWithAJudge) {
  ::setenv("TESKER_HOST_CPU", "i386", 1);
  const LogCapture log;
  for (unsigned seed = 0; seed < 200; ++seed) {
    const TemporaryDirectory directory;
    const RandomTree tree(directory, seed);
    const ApplicationFinder finder([] {});
    const NSString path = directory.string("tree");
    const NSString unjudged = finder.findAppsInSearchPath(path, nullptr);
    KeptJudgements judgements;
    EXPECT_EQ(finder.findAppsInSearchPath(path, nullptr), unjudged) << seed;
    std::multiset<std::string> judged;
    for (const Judgement &judgement : judgements.all) {
      judged.insert(judgement.path);
      EXPECT_NE(judgement.verdict.code, JudgementCode::failed) << judgement.path;
      EXPECT_EQ(judgement.verdict.code == JudgementCode::found, judgement.records > 0);
    }
    EXPECT_EQ(judged, MetPaths(directory.path("tree")).paths()) << seed;
    const auto records = decodeParsedApp(unjudged, NSDefaultMallocZone());
    ASSERT_TRUE(records);
    EXPECT_EQ(judgements.records(), records->size()) << seed;
  }
}

} // namespace
} // namespace tesker::test
