// PropertyListFuzzer.cpp - any bytes as a property list and as a strings file: what is read must
// read back equal.
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"

#include <cstdint>
#include <cstdlib>

using namespace tesker;

namespace {

void check(bool holds) {
  if (!holds)
    std::abort();
}

// What the reader makes of the text; nil when it is malformed.
template <class Read> RefPtr<NSObject> valueRead(Read read, std::string_view text) {
  try {
    return read(text);
  } catch (const NSException &exception) {
    check(exception.name() == NSParseErrorException);
    return nullptr;
  }
}

void tryPropertyList(std::string_view text) {
  auto value = valueRead(propertyList, text);
  if (!value)
    return;
  if (value->asString()) {
    // A string alone describes itself; only inside a container is its description read back.
    auto container = NSArray::create();
    container->addObject(value);
    value = std::move(container);
  }
  const NSString description = value->description();
  check(description.bytes().find('\n') == std::string_view::npos);
  check(value->isEqual(*propertyList(description.bytes())));
}

void tryStringsFile(std::string_view text) {
  const auto pairs = valueRead(propertyListFromStringsFileFormat, text);
  if (!pairs)
    return;
  const NSString description = descriptionInStringsFileFormat(*pairs->asDictionary());
  check(pairs->isEqual(*propertyListFromStringsFileFormat(description.bytes())));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  tryPropertyList(text);
  tryStringsFile(text);
  return 0;
}
