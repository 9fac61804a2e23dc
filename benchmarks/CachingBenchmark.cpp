// CachingBenchmark.cpp - what a warm look-up costs against the same question uncached.
//
// On directories of 10, 1000 and 100000 files. "Lstat" is the bare system call on the full path,
// and every other figure is to be read against it, in the same run. Questions come in three ways:
//
//   same      one file again and again, which the one-entry memories answer
//   each      one file after another in the order of the listing, as a walk asks, which the tables
//             answer
//   shuffled  one file after another in no order, the worst for the processor's caches (and for the
//             kernel's)
//
// Names come from the listing, as they do in a walk. MemoryPerEntry has the bytes of all zones and
// of the entry pages for each file whose attributes are cached, the listing not counted.
#include "caching/CachingFileManager.h"
#include "caching/DirFileStatEntry.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <random>
#include <span>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
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
    const auto names = NSFileManager::classObject().childrenForDirPath(*dir_);
    for (const auto &name : *names)
      names_.push_back(as<NSString>(RefPtr<NSObject>(name)).toRef());
    shuffled_ = names_;
    std::shuffle(shuffled_.begin(), shuffled_.end(), std::mt19937(1));
  }
  ~Tree() {
    std::error_code ignored;
    std::filesystem::remove_all(std::string(dir_->bytes()), ignored);
  }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;

  using Names = std::span<const Ref<NSString>>;
  const NSString &dir() const { return *dir_; }
  Names first() const { return Names(names_).first(1); }
  Names names() const { return names_; }
  Names shuffled() const { return shuffled_; }
  std::string pathOf(const NSString &name) const {
    return std::string(dir_->bytes()) + "/" + std::string(name.bytes());
  }

private:
  Ref<NSString> dir_ = NSString::create("");
  std::vector<Ref<NSString>> names_;
  std::vector<Ref<NSString>> shuffled_;
};

const Tree &treeOf(std::int64_t count) {
  static std::map<std::int64_t, Tree> trees;
  return trees.try_emplace(count, count).first->second;
}

CachingFileManager &caching() { return CachingFileManager::classObject(); }
NSFileManager &uncached() { return NSFileManager::classObject(); }

// Asks about the names one after the other, and begins again. Everything has been asked about once
// before that, in the order of the listing, from which the caches are filled.
template <class Ask>
void askAbout(benchmark::State &state, const Tree &tree, Tree::Names names, Ask ask) {
  caching().reset();
  caching().validate(7);
  for (const auto &name : names.size() > 1 ? tree.names() : names)
    benchmark::DoNotOptimize(ask(tree, *name));
  auto next = names.begin();
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask(tree, **next));
    if (++next == names.end())
      next = names.begin();
  }
}

template <class Ask> void same(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  askAbout(state, tree, tree.first(), ask);
}

template <class Ask> void each(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  askAbout(state, tree, tree.names(), ask);
}

template <class Ask> void shuffled(benchmark::State &state, Ask ask) {
  const Tree &tree = treeOf(state.range(0));
  askAbout(state, tree, tree.shuffled(), ask);
}

// The bare system call. The paths are made beforehand, so that joining them is not measured.
void lstatAll(benchmark::State &state, const Tree &tree, Tree::Names names) {
  std::vector<std::string> paths;
  for (const auto &name : names)
    paths.push_back(tree.pathOf(*name));
  auto next = paths.begin();
  for (auto _ : state) {
    struct stat status {};
    benchmark::DoNotOptimize(::lstat(next->c_str(), &status));
    if (++next == paths.end())
      next = paths.begin();
  }
}

void same_Lstat(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  lstatAll(state, tree, tree.first());
}

void each_Lstat(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  lstatAll(state, tree, tree.names());
}

void shuffled_Lstat(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  lstatAll(state, tree, tree.shuffled());
}

const auto cachedLstat = [](const Tree &tree, const NSString &name) {
  return caching()._privateLstatDir(tree.dir(), &name);
};
const auto cachedStat = [](const Tree &tree, const NSString &name) {
  return caching()._privateStatDir(tree.dir(), &name);
};
const auto cachedType = [](const Tree &tree, const NSString &name) {
  return caching().getFilerTypeDir(tree.dir(), &name);
};
const auto cachedAccess = [](const Tree &tree, const NSString &name) {
  return caching().access(R_OK, tree.dir(), &name);
};
const auto cachedChildren = [](const Tree &tree, const NSString &) {
  return caching().childrenForDirPath(tree.dir());
};
const auto cachedDir = [](const Tree &tree, const NSString &) {
  return caching()._privateLstatDir(tree.dir(), nullptr);
};
const auto uncachedLstat = [](const Tree &tree, const NSString &name) {
  return uncached()._privateLstatDir(tree.dir(), &name);
};
const auto uncachedStat = [](const Tree &tree, const NSString &name) {
  return uncached()._privateStatDir(tree.dir(), &name);
};
// There is no such question to the uncached manager; this is what answers it.
const auto uncachedType = [](const Tree &tree, const NSString &name) {
  return uncached().getLModeDir(tree.dir(), &name);
};
const auto uncachedAccess = [](const Tree &tree, const NSString &name) {
  return uncached()._fileCanBeReadAtPath(*tree.dir().stringByAppendingPathComponent(name.bytes()));
};
const auto uncachedChildren = [](const Tree &tree, const NSString &) {
  return uncached().childrenForDirPath(tree.dir());
};

// Two directories in turn, so that neither the memory of the last directory nor that of the last
// file answers: the whole way through all tables, twice.
void each_TwoDirectories(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  const Tree &other = treeOf(state.range(0) + 1);
  askAbout(state, tree, tree.names(), [&other](const Tree &asked, const NSString &name) {
    return cachedLstat(asked, name) && cachedLstat(other, name);
  });
}

void MemoryPerEntry(benchmark::State &state) {
  const Tree &tree = treeOf(state.range(0));
  const auto inUse = [] { return filerZone().bytesInUse() + NSDefaultMallocZone().bytesInUse(); };
  caching().reset();
  caching().validate(7);
  const std::size_t before = inUse();
  for (auto _ : state)
    for (const auto &name : tree.names())
      benchmark::DoNotOptimize(cachedLstat(tree, *name));
  state.counters["bytes/entry"] =
      static_cast<double>(inUse() - before) / static_cast<double>(tree.names().size()) +
      sizeof(DirFileStatEntry);
  state.counters["pages"] = nbDirFileStatEntryPages;
}

void sizes(benchmark::internal::Benchmark *benchmark) {
  benchmark->Arg(10)->Arg(1000)->Arg(100000);
}

BENCHMARK(MemoryPerEntry)->Apply(sizes)->Iterations(1);

BENCHMARK(same_Lstat)->Apply(sizes);
BENCHMARK_CAPTURE(same, PrivateLstatDir, cachedLstat)->Apply(sizes);
BENCHMARK_CAPTURE(same, PrivateLstatDir_DirectoryItself, cachedDir)->Apply(sizes);
BENCHMARK_CAPTURE(same, PrivateStatDir, cachedStat)->Apply(sizes);
BENCHMARK_CAPTURE(same, Access, cachedAccess)->Apply(sizes);
BENCHMARK_CAPTURE(same, GetFilerTypeDir, cachedType)->Apply(sizes);
BENCHMARK_CAPTURE(same, ChildrenForDirPath, cachedChildren)->Apply(sizes);

BENCHMARK(each_Lstat)->Apply(sizes);
BENCHMARK_CAPTURE(each, PrivateLstatDir, cachedLstat)->Apply(sizes);
BENCHMARK_CAPTURE(each, PrivateStatDir, cachedStat)->Apply(sizes);
BENCHMARK_CAPTURE(each, Access, cachedAccess)->Apply(sizes);
BENCHMARK_CAPTURE(each, GetFilerTypeDir, cachedType)->Apply(sizes);
BENCHMARK(each_TwoDirectories)->Apply(sizes);

BENCHMARK(shuffled_Lstat)->Apply(sizes);
BENCHMARK_CAPTURE(shuffled, PrivateLstatDir, cachedLstat)->Apply(sizes);
BENCHMARK_CAPTURE(shuffled, GetFilerTypeDir, cachedType)->Apply(sizes);

BENCHMARK_CAPTURE(each, PrivateLstatDir_Uncached, uncachedLstat)->Apply(sizes);
BENCHMARK_CAPTURE(each, PrivateStatDir_Uncached, uncachedStat)->Apply(sizes);
BENCHMARK_CAPTURE(each, Access_Uncached, uncachedAccess)->Apply(sizes);
BENCHMARK_CAPTURE(each, GetFilerTypeDir_Uncached, uncachedType)->Apply(sizes);
BENCHMARK_CAPTURE(same, ChildrenForDirPath_Uncached, uncachedChildren)->Apply(sizes);

} // namespace
} // namespace tesker

int main(int argc, char **argv) {
  tesker::LaterClock clock;
  const tesker::ScopedOperatingSystem inForce(clock);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  benchmark::RunSpecifiedBenchmarks();
}
