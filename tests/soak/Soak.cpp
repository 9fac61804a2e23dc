// Soak.cpp - many searches in one process, that must leave nothing behind.
//
//   tesker-soak [SEARCHES] [--seed N]
//
// Most are ordinary; in the others the tool is killed, stopped or slowed at some moment, or the
// tool or the master is hostile. After each no process is left, and now and again, and at the end,
// this process holds no more descriptors, files and memory than after the first searches. Exit
// status 0 when that is so, and each search has ended as it may; else 1, after a list of what is
// wrong. The same seed makes the same searches; the moments depend on the machine, too.

#include "tests/soak/Children.h"
#include "tests/soak/Holdings.h"
#include "tests/soak/Searches.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace {

using namespace tesker;
using namespace tesker::soak;

// Of one search. Stops a hang, and says where.
constexpr unsigned kMostSeconds = 200;
constexpr std::size_t kSearchesOfAProgressLine = 1000;
constexpr std::size_t kMostComplaints = 100;

struct Options {
  std::size_t searches = 10'000;
  unsigned seed = 1;
};

// Nothing when the words are not understood.
std::optional<Options> optionsOf(int count, char **words) {
  Options options;
  const auto read = [](std::string_view word, auto &number) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
  };
  for (int i = 1; i < count; ++i) {
    const bool isSeed = std::string_view(words[i]) == "--seed" && i + 1 < count;
    if (isSeed ? !read(words[++i], options.seed) : !read(words[i], options.searches))
      return std::nullopt;
  }
  return options.searches > 0 ? std::optional(options) : std::nullopt;
}

// By a signal: this search is the last.
volatile std::sig_atomic_t interrupted = 0;

void endHanging(int) {
  for (const char *text : {"tesker-soak: hangs: ", static_cast<const char *>(currentSearch), "\n"})
    (void)!::write(STDERR_FILENO, text, std::strlen(text));
  ::_exit(1);
}

// The directories that everything temporary of this run goes to.
class Surroundings {
public:
  Surroundings() {
    ::setenv("TMPDIR", directory_.makeDirectory("tmp").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", directory_.makeDirectory("run", 0700).c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", directory_.makeDirectory("config").c_str(), 1);
    ::setenv("XDG_CONFIG_DIRS", directory_.path("config").c_str(), 1);
    ::unsetenv("TESKER_BOOTSTRAP_DIR");
  }
  std::string trees() const { return directory_.makeDirectory("trees"); }
  Holdings held() const {
    return holdings({directory_.path("tmp"), directory_.path("run"), directory_.path("config")});
  }

private:
  const test::TemporaryDirectory directory_;
};

class Soak {
public:
  explicit Soak(const Options &options)
      : options_(options), searches_(surroundings_.trees(), options.seed) {}

  int run() {
    const std::size_t first = std::min<std::size_t>(options_.searches / 4, 500);
    while (made_ < options_.searches && interrupted == 0) {
      if (made_ == first)
        before_ = settled();
      take(searches_.make(made_++));
      if (made_ % kSearchesOfAProgressLine == 0 && made_ < options_.searches)
        compare();
    }
    if (made_ > first)
      compare();
    return summarise();
  }

private:
  void take(const Done &done) {
    ::alarm(kMostSeconds);
    ++endings_[{done.kind, done.ending}];
    for (const std::string &what : done.wrong)
      complain(done.kind + ": " + what);
    for (const std::string &what : settleChildren(done.mayLeaveProcesses))
      complain(done.kind + ": " + what);
  }

  void complain(const std::string &what) {
    ++complaints_;
    if (complaints_ <= kMostComplaints)
      std::fprintf(stderr, "search %zu: %s\n", made_, what.c_str());
  }

  // What a hostile tool has left in its directory without end, the searches after it remove.
  Holdings settled() {
    constexpr int kMostSearches = 20;
    Holdings held = surroundings_.held();
    for (int i = 0; i < kMostSearches && !held.files.empty(); ++i) {
      take(searches_.makeOrdinary());
      held = surroundings_.held();
    }
    return held;
  }

  void compare() {
    const Holdings now = settled();
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin_);
    std::fprintf(stderr,
                 "%zu searches in %lld s: %zu descriptors, %zu files, %zu bytes in use, %zu MiB "
                 "resident, %zu complaints\n",
                 made_, static_cast<long long>(seconds.count()), now.descriptors.size(),
                 now.files.size(), now.heapBytes, now.residentBytes >> 20, complaints_);
    for (const std::string &what : excess(now, before_))
      complain(what);
  }

  int summarise() {
    // The steps of a master made by hand complain there.
    if (testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed())
      complain("a step of a hostile master failed, as said above");
    for (const auto &[ending, count] : endings_)
      std::printf("%6zu %s: %s\n", count, ending.first.c_str(), ending.second.c_str());
    std::printf("%zu searches, seed %u: %s\n", made_, options_.seed,
                complaints_ == 0 ? "nothing is left, no answer is wrong"
                                 : (std::to_string(complaints_) + " complaints").c_str());
    return complaints_ == 0 ? 0 : 1;
  }

  const Options options_;
  const Surroundings surroundings_;
  Searches searches_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Holdings before_;
  std::size_t made_ = 0;
  std::size_t complaints_ = 0;
  std::map<std::pair<std::string, std::string>, std::size_t> endings_;
};

} // namespace

int main(int count, char **words) {
  const auto options = optionsOf(count, words);
  if (!options) {
    std::fputs("usage: tesker-soak [SEARCHES] [--seed N]\n", stderr);
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGALRM, endHanging);
  for (const int signal : {SIGINT, SIGTERM})
    std::signal(signal, [](int) { interrupted = 1; });
  ::alarm(kMostSeconds);
  adoptOrphans();
  return Soak(*options).run();
}
