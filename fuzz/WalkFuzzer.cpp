// WalkFuzzer.cpp - searches a tree that the input describes (Tree.h), and searches it again. The
// input's first byte says how much an answer may hold.
#include "finding/ApplicationFinder.h"
#include "fuzz/Check.h"
#include "fuzz/Silence.h"
#include "fuzz/Tree.h"
#include "parsing/RecordDecoding.h"
#include "platform/foundation/NSException.h"

#include <cstdint>

using namespace tesker;

namespace {

// An exception about one of the paths themselves passes, as ApplicationFinder.h says.
template <class Search> NSString answerOf(Search search) {
  try {
    return search();
  } catch (const NSException &) {
    return nullptr;
  }
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
  const Tree tree(input);
  const NSString top = NSString::create(tree.path());
  const ApplicationFinder finder([] {}, bounds);
  const NSString text = answerOf([&] { return finder.findAppsInSearchPath(top, nullptr); });
  if (!text)
    return 0;
  const auto records = decodeParsedApp(text, NSDefaultMallocZone());
  check(records && records->size() <= bounds.records);
  check(!finder.findAppsInSearchPath(top, text)); // the same again
  // The names in it one by one, as a dock asks for them.
  (void)answerOf([&] {
    return finder.findAppsForDockPaths({top, top.stringByAppendingPathComponent("Foo.app"),
                                        top.stringByAppendingPathComponent("a"), "a"_ns, ""_ns},
                                       text);
  });
  return 0;
}
