// WalkFuzzer.cpp - searches a tree that the input describes (Tree.h), and searches it again. The
// input's first byte says how much an answer may hold, or that system calls fail (FailingCalls.h),
// and whether links that lead back are skipped, and progress is told of.
// The answer is the same when a judge listens, whose verdicts account for all of its records.
#include "finding/ApplicationFinder.h"
#include "finding/ProgressMeter.h"
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/Listener.h"
#include "fuzz/Silence.h"
#include "fuzz/Tree.h"
#include "parsing/RecordDecoding.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"

#include <cstdint>
#include <optional>
#include <system_error>

using namespace tesker;

namespace {

// Only whether an answer was said to be incomplete.
class Lines final : public LogSink {
public:
  void log(std::string_view) override {}
  void syslog(std::string_view line) override {
    saidIncomplete = saidIncomplete || line.starts_with(kIncompleteLine);
  }
  bool saidIncomplete = false;
};

// An exception about one of the paths themselves passes, as ApplicationFinder.h says.
template <class Search> NSString answerOf(Search search) {
  try {
    return search();
  } catch (const NSException &) {
    return nullptr;
  }
}

// The answer while system calls fail is the right one, or its lack is said: by an exception, or by
// a line that says so. A file that is not there is an answer, too.
void searchFailing(const ApplicationFinder &finder, const NSString &top, FailingCalls &failing) {
  Lines lines;
  LogSink *const before = setLogSink(&lines);
  NSString text;
  bool ended = false;
  try {
    const ScopedOperatingSystem scoped(failing);
    text = answerOf([&] { return finder.findAppsInSearchPath(top, nullptr); });
  } catch (const std::bad_alloc &) {
    ended = true;
  } catch (const std::system_error &) {
    ended = true;
  }
  setLogSink(before);
  check(ended || lines.saidIncomplete || (failing.hasFailed() && failing.isOrdinary()) ||
        text == answerOf([&] { return finder.findAppsInSearchPath(top, nullptr); }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  Input input(data, size);
  SearchBounds bounds;
  const std::size_t bound = input.byte();
  if (bound % 4 == 1)
    bounds.records = bound / 16;
  if (bound % 4 == 2)
    bounds.text = bound * 4;
  std::optional<FailingCalls> failing;
  if (bound % 4 == 3)
    failing.emplace(input);
  const Tree tree(input);
  const NSString top = NSString::create(tree.path());
  ProgressMeter meter([](const ProgressMeter &now) { check(now.records() <= kMostRecords); });
  const WalkOptions options{.skipsLinkCycles = (bound & 4) != 0,
                            .progress = (bound & 8) != 0 ? &meter : nullptr};
  const ApplicationFinder finder([] {}, bounds, options);
  if (failing)
    searchFailing(finder, top, *failing);
  const NSString text = answerOf([&] { return finder.findAppsInSearchPath(top, nullptr); });
  if (!text)
    return 0;
  const auto records = decodeParsedApp(text, NSDefaultMallocZone());
  check(records && records->size() <= bounds.records);
  check(!finder.findAppsInSearchPath(top, text)); // the same again
  {
    const Listener listener;
    check(!finder.findAppsInSearchPath(top, text));
    check(listener.records() == records->size());
  }
  // The names in it one by one, as a dock asks for them.
  (void)answerOf([&] {
    return finder.findAppsForDockPaths({top, top.stringByAppendingPathComponent("Foo.app"),
                                        top.stringByAppendingPathComponent("a"), "a"_ns, ""_ns},
                                       text);
  });
  return 0;
}
