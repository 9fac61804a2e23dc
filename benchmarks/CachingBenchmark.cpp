// CachingBenchmark.cpp - what a warm look-up costs against the same question uncached.
//
// On directories of 10, 1000 and 100000 files. "Lstat" is the bare system call on the full path,
// and every other figure is to be read against it, in the same run: times_faster says how many of
// the row's questions fit one lstat asked in the same way. The ways:
//
//   firstFill        one file after another in the order of the listing, as a walk asks, which the
//                    tables answer; from caches that were never emptied
//   each             the same after everything was forgotten (reset) and filled again
//   eachAfterChange  the same after the directory has changed and its files were asked for again
//   twoDirectories   the same in two directories in turn, so that neither the memory of the last
//                    directory nor that of the last file answers; two questions each time
//   shuffled         one file after another in no order, the worst for the processor's caches (and
//                    for the kernel's)
//   same             one file again and again, which the one-entry memories answer
//
// Names come from the listing, as they do in a walk. "NameTable" and "UnorderedMap" are bare
// look-ups in the table of names that the caches use, and in the standard one.
// MemoryPerEntry has the bytes of all zones and of the entry pages for each file whose attributes
// are cached, the listing not counted.
#include "caching/CachingFileManager.h"
#include "caching/DirFileStatEntry.h"
#include "caching/NameTable.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace tesker {
namespace {

// The caches' clock goes an hour ahead. Directories made by this program are then never changed in
// the second of a validation, which would make the caches look at them again and again.
class LaterClock final : public OperatingSystem {
public:
  std::int64_t currentTime() override { return OperatingSystem::currentTime() + 3600; }
};

// A directory of files; removed at the end of the program.
class Tree {
public:
  explicit Tree(std::int64_t count) {
    std::string path = (std::filesystem::temp_directory_path() / "tesker-bench-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr)
      std::abort();
    dir_ = NSString::create(path);
    for (std::int64_t i = 0; i < count; ++i) {
      const std::string file = path + "/Document number " + std::to_string(i) + ".text";
      ::close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    }
    names_ = NSFileManager::classObject().childrenForDirPath(dir_).value();
    shuffled_ = names_;
    std::shuffle(shuffled_.begin(), shuffled_.end(), std::mt19937(1));
  }
  ~Tree() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_.cString(), ignored);
  }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;

  using Range = std::span<const NSString>;
  const NSString &dir() const { return dir_; }
  Range first() const { return Range(names_).first(1); }
  Range names() const { return names_; }
  Range shuffled() const { return shuffled_; }
  std::string pathOf(const NSString &name) const {
    return std::string(dir_.bytes()) + "/" + std::string(name.bytes());
  }
  // Makes the directory look changed, in another second each time.
  void change() const {
    static time_t second = 2'000'000'000;
    const std::array<timespec, 2> times{timespec{++second, 0}, timespec{second, 0}};
    if (::utimensat(AT_FDCWD, dir_.cString(), times.data(), 0) != 0)
      std::abort();
  }

private:
  NSString dir_;
  Names names_;
  Names shuffled_;
};

const Tree &treeOf(std::int64_t count) {
  static std::map<std::int64_t, Tree> trees;
  return trees.try_emplace(count, count).first->second;
}

CachingFileManager &caching() { return CachingFileManager::classObject(); }
NSFileManager &uncached() { return NSFileManager::classObject(); }

void forgetAll() {
  caching().reset();
  caching().validate(7);
}

// Asks about the names one after the other, and begins again.
template <class Ask>
void measure(benchmark::State &state, const Tree &tree, Tree::Range names, Ask ask) {
  auto next = names.begin();
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask(tree, *next));
    if (++next == names.end())
      next = names.begin();
  }
}

// Asks about everything once, in the order of the listing, from which the caches are filled.
template <class Ask> void fill(const Tree &tree, Ask ask) {
  for (const NSString &name : tree.names())
    benchmark::DoNotOptimize(ask(tree, name));
}

template <class Ask> void firstFill(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  fill(tree, ask);
  measure(state, tree, tree.names(), ask);
}

template <class Ask> void each(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  for (int times = 0; times < 2; ++times) {
    forgetAll();
    fill(tree, ask);
  }
  measure(state, tree, tree.names(), ask);
}

template <class Ask> void eachAfterChange(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  const NSString root = "/"_ns;
  forgetAll();
  fill(tree, ask);
  for (int times = 0; times < 2; ++times) {
    tree.change();
    caching().bumpGeneration();
    caching().validate(7);
    // In place of what the memories have; twice, for the first time makes the entries.
    for (int i = 0; i < 2; ++i)
      static_cast<void>(caching().getFilerTypeDir(root, "tmp"_ns));
    fill(tree, ask);
  }
  measure(state, tree, tree.names(), ask);
}

template <class Ask> void twoDirectories(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  const Tree &other = treeOf(state.range(0) + 1);
  const auto askBoth = [&](const Tree &, const NSString &name) {
    benchmark::DoNotOptimize(ask(tree, name));
    return ask(other, name);
  };
  forgetAll();
  fill(tree, askBoth);
  measure(state, tree, tree.names(), askBoth);
}

template <class Ask> void shuffled(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  forgetAll();
  fill(tree, ask);
  measure(state, tree, tree.shuffled(), ask);
}

template <class Ask> void same(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  forgetAll();
  measure(state, tree, tree.first(), ask);
}

// The bare system call. The paths are made beforehand, so that joining them is not measured.
void lstatAll(benchmark::State &state, const std::vector<std::string> &paths, std::size_t inTurn) {
  auto next = paths.begin();
  for (auto _ : state) {
    for (std::size_t i = 0; i < inTurn; ++i) {
      struct stat status {};
      benchmark::DoNotOptimize(::lstat(next->c_str(), &status));
      if (++next == paths.end())
        next = paths.begin();
    }
  }
}

template <Tree::Range (Tree::*Chosen)() const> void lstatRow(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  std::vector<std::string> paths;
  for (const NSString &name : (tree.*Chosen)())
    paths.push_back(tree.pathOf(name));
  lstatAll(state, paths, 1);
}

void lstatRowOfTwo(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  const Tree &other = treeOf(state.range(0) + 1);
  std::vector<std::string> paths;
  for (const NSString &name : tree.names()) {
    paths.push_back(tree.pathOf(name));
    paths.push_back(other.pathOf(name));
  }
  lstatAll(state, paths, 2);
}

// The standard table, with the face of NameTable.
class UnorderedMap {
public:
  explicit UnorderedMap(NSZone &zone) : entries_(&zone) {}
  std::optional<DirFileStatHandle> find(const NSString &name) {
    const auto found = entries_.find(name);
    return found != entries_.end() ? std::optional(found->second) : std::nullopt;
  }
  void insert(const NSString &name, DirFileStatHandle value) { entries_.emplace(name, value); }

private:
  std::pmr::unordered_map<NSString, DirFileStatHandle, StringKeyHash, StringKeyEqual> entries_;
};

template <class Table, Tree::Range (Tree::*Chosen)() const> void tableRow(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  Table table(filerZone());
  DirFileStatHandle value = 0;
  for (const NSString &name : tree.names())
    table.insert(name, ++value);
  measure(state, tree, (tree.*Chosen)(),
          [&table](const Tree &, const NSString &name) { return table.find(name); });
}

const auto cachedLstat = [](const Tree &tree, const NSString &name) {
  return caching()._privateLstatDir(tree.dir(), name);
};
const auto cachedStat = [](const Tree &tree, const NSString &name) {
  return caching()._privateStatDir(tree.dir(), name);
};
const auto cachedType = [](const Tree &tree, const NSString &name) {
  return caching().getFilerTypeDir(tree.dir(), name);
};
const auto cachedAccess = [](const Tree &tree, const NSString &name) {
  return caching().access(R_OK, tree.dir(), name);
};
const auto cachedChildren = [](const Tree &tree, const NSString &) {
  return caching().childrenForDirPath(tree.dir());
};
const auto cachedHasChildren = [](const Tree &tree, const NSString &) {
  return caching().hasChildren(tree.dir());
};
const auto cachedDir = [](const Tree &tree, const NSString &) {
  return caching()._privateLstatDir(tree.dir(), nullptr);
};
const auto uncachedLstat = [](const Tree &tree, const NSString &name) {
  return uncached()._privateLstatDir(tree.dir(), name);
};
const auto uncachedStat = [](const Tree &tree, const NSString &name) {
  return uncached()._privateStatDir(tree.dir(), name);
};
// The uncached manager has no such question; this is what answers it.
const auto uncachedType = [](const Tree &tree, const NSString &name) {
  return uncached().getLModeDir(tree.dir(), name);
};
const auto uncachedAccess = [](const Tree &tree, const NSString &name) {
  return uncached()._fileCanBeReadAtPath(tree.dir().stringByAppendingPathComponent(name.bytes()));
};
const auto uncachedChildren = [](const Tree &tree, const NSString &) {
  return uncached().childrenForDirPath(tree.dir());
};

void MemoryPerEntry(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  const auto inUse = [] { return filerZone().bytesInUse() + NSDefaultMallocZone().bytesInUse(); };
  const std::size_t before = inUse();
  for (auto _ : state)
    fill(tree, cachedLstat);
  state.counters["bytes/entry"] =
      static_cast<double>(inUse() - before) / static_cast<double>(tree.names().size()) +
      sizeof(DirFileStatEntry);
  state.counters["pages"] = nbDirFileStatEntryPages;
}

// Adds times_faster to the rows.
class Reporter final : public benchmark::ConsoleReporter {
public:
  Reporter() : ConsoleReporter(OO_None) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    std::vector<Run> reported = runs;
    for (Run &run : reported) {
      const std::string row = run.benchmark_name();
      const double time = run.GetAdjustedCPUTime();
      if (row.find("/Lstat/") != std::string::npos)
        lstats_[wayAndSize(row)] = time;
      const auto lstat = lstats_.find(wayAndSize(row));
      if (lstat != lstats_.end())
        run.counters["times_faster"] = lstat->second / time;
    }
    ConsoleReporter::ReportRuns(reported);
  }

private:
  // "each/Lstat/10" is "each/10"; what is asked like a walk is held against a walk.
  static std::string wayAndSize(const std::string &row) {
    const std::string way = row.substr(0, row.find('/'));
    const bool likeWalk = way == "firstFill" || way == "eachAfterChange";
    return (likeWalk ? "each" : way) + row.substr(row.rfind('/'));
  }
  std::map<std::string, double> lstats_;
};

void addRows() {
  const auto add = [](const char *name, auto row) {
    return benchmark::RegisterBenchmark(name, row)->Arg(10)->Arg(1000)->Arg(100000);
  };
  // First of all, while nothing was given back yet.
  add("MemoryPerEntry", MemoryPerEntry)->Iterations(1);
  add("each/Lstat", lstatRow<&Tree::names>);
  add("firstFill/PrivateLstatDir", [](auto &state) { firstFill(state, cachedLstat); });
  add("firstFill/GetFilerTypeDir", [](auto &state) { firstFill(state, cachedType); });
  add("each/PrivateLstatDir", [](auto &state) { each(state, cachedLstat); });
  add("each/PrivateStatDir", [](auto &state) { each(state, cachedStat); });
  add("each/Access", [](auto &state) { each(state, cachedAccess); });
  add("each/GetFilerTypeDir", [](auto &state) { each(state, cachedType); });
  add("eachAfterChange/PrivateLstatDir", [](auto &state) { eachAfterChange(state, cachedLstat); });
  add("eachAfterChange/GetFilerTypeDir", [](auto &state) { eachAfterChange(state, cachedType); });
  add("each/NameTable", tableRow<NameTable<DirFileStatHandle>, &Tree::names>);
  add("each/UnorderedMap", tableRow<UnorderedMap, &Tree::names>);

  add("twoDirectories/Lstat", lstatRowOfTwo);
  add("twoDirectories/PrivateLstatDir", [](auto &state) { twoDirectories(state, cachedLstat); });
  add("twoDirectories/GetFilerTypeDir", [](auto &state) { twoDirectories(state, cachedType); });

  add("shuffled/Lstat", lstatRow<&Tree::shuffled>);
  add("shuffled/PrivateLstatDir", [](auto &state) { shuffled(state, cachedLstat); });
  add("shuffled/GetFilerTypeDir", [](auto &state) { shuffled(state, cachedType); });
  add("shuffled/NameTable", tableRow<NameTable<DirFileStatHandle>, &Tree::shuffled>);
  add("shuffled/UnorderedMap", tableRow<UnorderedMap, &Tree::shuffled>);

  add("same/Lstat", lstatRow<&Tree::first>);
  add("same/PrivateLstatDir", [](auto &state) { same(state, cachedLstat); });
  add("same/PrivateLstatDir_DirectoryItself", [](auto &state) { same(state, cachedDir); });
  add("same/PrivateStatDir", [](auto &state) { same(state, cachedStat); });
  add("same/Access", [](auto &state) { same(state, cachedAccess); });
  add("same/GetFilerTypeDir", [](auto &state) { same(state, cachedType); });
  add("same/HasChildren", [](auto &state) { same(state, cachedHasChildren); });
  add("same/ChildrenForDirPath", [](auto &state) { same(state, cachedChildren); });

  add("each/PrivateLstatDir_Uncached", [](auto &state) { each(state, uncachedLstat); });
  add("each/PrivateStatDir_Uncached", [](auto &state) { each(state, uncachedStat); });
  add("each/Access_Uncached", [](auto &state) { each(state, uncachedAccess); });
  add("each/GetFilerTypeDir_Uncached", [](auto &state) { each(state, uncachedType); });
  add("same/ChildrenForDirPath_Uncached", [](auto &state) { same(state, uncachedChildren); });
}

} // namespace
} // namespace tesker

int main(int argc, char **argv) {
  tesker::LaterClock clock;
  const tesker::ScopedOperatingSystem inForce(clock);
  const bool wantsOtherFormat = std::any_of(argv, argv + argc, [](std::string_view word) {
    return word.starts_with("--benchmark_format");
  });
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  tesker::addRows();
  tesker::Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(wantsOtherFormat ? nullptr : &reporter);
}
