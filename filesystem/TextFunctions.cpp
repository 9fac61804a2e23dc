// Suffixes, numbers inside texts, and the two ways to report what should not be.
#include "filesystem/FileManagerUtils.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tesker {

namespace {

// Where the last dot is; npos for nil and without one.
std::size_t lastDot(const NSString *name) {
  return name != nullptr ? name->bytes().rfind('.') : std::string_view::npos;
}

} // namespace

RefPtr<NSString> getSuffix(const NSString *name) {
  const std::size_t dot = lastDot(name);
  if (dot == std::string_view::npos || dot + 1 == name->length())
    return nullptr;
  return NSString::create(name->bytes().substr(dot + 1));
}

RefPtr<NSString> strip(const NSString *name) {
  const std::size_t dot = lastDot(name);
  if (dot == std::string_view::npos)
    return nullptr;
  return NSString::create(name->bytes().substr(0, dot));
}

int scanIntFromIString(const NSString &string, std::size_t start, std::size_t length, int &result) {
  if (start > string.length() || length > string.length() - start)
    throw NSException(NSRangeException, formatted("range {%d, %d} leaves a string of length %d",
                                                  {std::to_string(start), std::to_string(length),
                                                   std::to_string(string.length())}));
  const std::string text(string.bytes().substr(start, length));
  char *end = nullptr;
  const long scanned = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str())
    return 0;
  // A number too large for an int is the largest one of its sign.
  result = static_cast<int>(std::clamp<long>(scanned, INT_MIN, INT_MAX));
  // Callers skip the whole text that they had a number scanned from, so its length is the answer,
  // not how far the digits went.
  return static_cast<int>(std::min<std::size_t>(std::strlen(text.c_str()), INT_MAX));
}

void TeskerBug(std::string_view message, std::initializer_list<std::string_view> arguments) {
  NSLog(message, arguments);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void _ERROR(const NSString &reason) {
  throw NSException(TeskerGenericFilerException, std::string(reason.bytes()));
}

} // namespace tesker
