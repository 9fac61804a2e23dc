// PropertyListFuzzer.cpp - any bytes as a property list and as a strings file: what is read must
// read back equal.
#include "fuzz/Check.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"

#include <cstdint>

using namespace tesker;

namespace {

// What the reader makes of the text; nil when it is malformed.
template <class Read> RefPtr<NSObject> valueRead(Read read, std::string_view text) {
  try {
    return read(text);
  } catch (const NSException &exception) {
    check(exception.name() == NSParseErrorException);
    return nullptr;
  }
}

void checkEqual(const NSObject &first, const NSObject &second) {
  check(first.isEqual(second) && first.hash() == second.hash());
}

// A dictionary has what it was given, and no longer what was taken from it.
void tryPairs(const NSDictionary &pairs) {
  auto copy = NSDictionary::create();
  copy->addEntriesFromDictionary(pairs);
  checkEqual(*copy, pairs);
  for (const auto &[key, value] : pairs) {
    check(copy->objectForKey(key.bytes()) == &*value);
    copy->removeObjectForKey(key.bytes());
    check(copy->objectForKey(key.bytes()) == nullptr);
  }
  check(copy->count() == 0);
}

void tryPropertyList(std::string_view text) {
  PropertyListPlaces places;
  auto value =
      valueRead([&](std::string_view bytes) { return propertyList(bytes, &places); }, text);
  if (!value)
    return;
  check(places.of.at(&*value).value < text.size());
  if (value->asString()) {
    // A string alone describes itself; only inside a container is its description read back.
    auto container = NSArray::create();
    container->addObject(value);
    value = std::move(container);
  }
  const NSString description = value->description();
  check(description.bytes().find('\n') == std::string_view::npos);
  checkEqual(*value, *propertyList(description.bytes()));
  checkEqual(*descriptionOnly(*value), *descriptionOnly(*value));
  if (const NSDictionary *pairs = value->asDictionary())
    tryPairs(*pairs);
}

void tryStringsFile(std::string_view text) {
  const auto pairs = valueRead(propertyListFromStringsFileFormat, text);
  if (!pairs)
    return;
  const NSString description = descriptionInStringsFileFormat(*pairs->asDictionary());
  checkEqual(*pairs, *propertyListFromStringsFileFormat(description.bytes()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  tryPropertyList(text);
  tryStringsFile(text);
  return 0;
}
