// RecordTextFuzzer.cpp - decodes the input as an answer text. What decodes must come back equal
// when it is encoded and decoded again.
#include "fuzz/Check.h"
#include "fuzz/Silence.h"
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace tesker;
  silenceLogs();
  NSZone &zone = NSDefaultMallocZone();
  const NSString text = NSString::create({reinterpret_cast<const char *>(data), size});
  const auto records = decodeParsedApp(text, zone);
  if (!records)
    return 0;
  const auto again = decodeParsedApp(encodeParsedApp(*records), zone);
  check(again && *again == *records);
  return 0;
}
