// IconHeaderFuzzer.cpp - parses an executable whose icon header is the input, for this processor or
// another.
#include "examples/MachOWriter.h"
#include "fuzz/Check.h"
#include "fuzz/Listener.h"
#include "fuzz/Silence.h"
#include "parsing/ArchitectureCheck.h"
#include "parsing/IconHeaderParser.h"
#include "platform/foundation/Files.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace tesker;
  silenceLogs();
  ::setenv("TESKER_HOST_CPU", "i386", 1);
  const std::string_view header(reinterpret_cast<const char *>(data), size);
  const bool other = size % 2 == 1;
  const std::string image = examples::MachOWriter(other ? examples::kSparc : examples::kI386)
                                .addSection("__ICON", "__header", header)
                                .bytes();
  // A file in memory, which has a path like any other.
  const FileDescriptor file(::memfd_create("executable", MFD_CLOEXEC));
  check(file && ::fchmod(file.number(), 0755) == 0);
  check(static_cast<bool>(writeAll(file.number(), image)));
  const NSString dir = "/proc/self/fd"_ns;
  const NSString name = NSString::create(std::to_string(file.number()));
  check((TKIsProperExecutable(dir, name) == Suitability::suitable) == !other);
  check(getArchNames(dir.stringByAppendingPathComponent(name.bytes())).length() > 0);
  const auto records = parseApp(NSFileManager::classObject(), dir, name, NSDefaultMallocZone());
  check(records.has_value()); // an executable regular file is always examined
  for (const TKLine &record : *records)
    check(record.objectForKey("path") != nullptr);
  check(other || parseHeaderText(header, dir.stringByAppendingPathComponent(name.bytes()),
                                 NSDefaultMallocZone()) == *records);
  const Listener listener;
  judged(dir, name.bytes(), [&] {
    check(parseApp(NSFileManager::classObject(), dir, name, NSDefaultMallocZone()) == records);
    countRecords(records->size());
  });
  return 0;
}
