// IconHeaderFuzzer.cpp - parses an executable whose icon header is the input, for this processor or
// another.
#include "examples/MachOWriter.h"
#include "fuzz/Silence.h"
#include "parsing/IconHeaderParser.h"
#include "platform/foundation/Files.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace tesker;
  silenceLogs();
  const std::string_view header(reinterpret_cast<const char *>(data), size);
  const bool other = size % 2 == 1;
  const std::string image = examples::MachOWriter(other ? examples::kSparc : examples::kI386)
                                .addSection("__ICON", "__header", header)
                                .bytes();
  // A file in memory, which has a path like any other.
  const FileDescriptor file(::memfd_create("executable", MFD_CLOEXEC));
  if (!file || ::fchmod(file.number(), 0755) != 0 ||
      ::write(file.number(), image.data(), image.size()) != static_cast<ssize_t>(image.size()))
    std::abort();
  const auto records =
      parseApp(NSFileManager::classObject(), "/proc/self/fd"_ns,
               NSString::create(std::to_string(file.number())), NSDefaultMallocZone());
  if (!records)
    std::abort(); // an executable regular file is always examined
  for (const TKLine &record : *records)
    if (record.objectForKey("path") == nullptr)
      std::abort();
  return 0;
}
