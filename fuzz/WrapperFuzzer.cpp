// WrapperFuzzer.cpp - parses an application wrapper that the input describes (Tree.h). The input's
// first byte says how it is called, and whether system calls fail (FailingCalls.h).
// The records are the same while a judge listens.
#include "fuzz/Check.h"
#include "fuzz/FailingCalls.h"
#include "fuzz/Listener.h"
#include "fuzz/Silence.h"
#include "fuzz/Tree.h"
#include "parsing/AppWrapperParser.h"
#include "parsing/ArchitectureCheck.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "platform/foundation/NSString.h"

#include <array>
#include <cstdint>
#include <optional>
#include <sys/stat.h>

using namespace tesker;

namespace {

constexpr std::array<const char *, 6> kWrappers = {"Foo.app",   "Tesker.app", "Foo",
                                                   "Foo.debug", ".app",       "Foo.bundle"};

// Every record says of which executable it is. Only an inspector's own pairs, which a registry
// brings, may put something else there.
void checkPaths(const Records &records, std::string_view top, bool hasRegistry) {
  for (const TKLine &record : records) {
    const NSObject *path = record.objectForKey("path");
    check(path != nullptr);
    check(hasRegistry || path->asString().bytes().starts_with(top));
  }
}

bool holdsNul(const Records &records) {
  for (const TKLine &record : records)
    for (const auto &[key, value] : record)
      if ((key.bytes().find('\0') & value->asString().bytes().find('\0')) != std::string_view::npos)
        return true;
  return false;
}

// What travels is read back equal.
void checkTravelling(Records records) {
  for (TKLine &record : records)
    record.keepDescriptions();
  const auto read = decodeParsedApp(encodeParsedApp(records), NSDefaultMallocZone());
  check(read && read->size() == records.size());
  if (holdsNul(records)) // which the encoding cannot carry
    return;
  for (TKLine &record : records)
    for (const auto &[key, value] : TKLine(record)) // descriptions become strings
      record.set(key, NSString::create(value->description().bytes()));
  check(*read == records);
}

// A file that may be there, and be an executable or anything else.
void tryFile(const NSString &dir, const NSString &file) {
  const auto records = parseApp(NSFileManager::classObject(), dir, file, NSDefaultMallocZone());
  if (records)
    checkPaths(*records, dir.bytes(), false);
  (void)TKIsProperExecutable(dir, file);
  const NSString path = dir.stringByAppendingPathComponent(file.bytes());
  struct stat status {};
  // Of another kind it would be left open.
  if (::stat(path.cString(), &status) != 0 || S_ISREG(status.st_mode))
    (void)getArchNames(path);
}

std::optional<Records> parseWhileAJudgeListens(const NSString &top, const std::string &wrapper) {
  const Listener listener;
  std::optional<Records> records;
  judged(top, wrapper, [&] {
    records = parseAppWrapper(NSFileManager::classObject(), top, NSString::create(wrapper),
                              NSDefaultMallocZone());
    countRecords(records ? records->size() : 0);
  });
  return records;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  silenceLogs();
  Input input(data, size);
  const unsigned choice = input.byte();
  const std::string wrapper = kWrappers[choice % kWrappers.size()];
  Input none("");
  FailingCalls failing(choice >= 128 ? input : none);
  const bool hasRegistry = input.rest().find("registry.table") != std::string_view::npos;
  const Tree tree(input);
  tryFile(NSString::create(tree.path()), "x"_ns);
  const ScopedOperatingSystem scoped(failing);
  const NSString top = NSString::create(tree.path());
  const auto records = parseAppWrapper(NSFileManager::classObject(), top, NSString::create(wrapper),
                                       NSDefaultMallocZone());
  const auto again = parseWhileAJudgeListens(top, wrapper);
  check(choice >= 128 || again == records);
  if (!records)
    return 0;
  checkPaths(*records, tree.path() + "/" + wrapper, hasRegistry);
  checkTravelling(*records);
  return 0;
}
