#include "filesystem/TextFunctions.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tesker {

std::string_view suffixOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot != std::string_view::npos ? name.substr(dot + 1) : std::string_view();
}

NSString getSuffix(const NSString &name) {
  const std::string_view suffix = suffixOf(name.bytes());
  return suffix.empty() ? nullptr : NSString::create(suffix);
}

NSString strip(const NSString &name) {
  const std::size_t dot = name.bytes().rfind('.');
  return dot != std::string_view::npos ? NSString::create(name.bytes().substr(0, dot)) : nullptr;
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
  // Kept: callers skip the whole text that they had a number scanned from, so its length is the
  // answer, not how far the digits went.
  return static_cast<int>(std::min<std::size_t>(std::strlen(text.c_str()), INT_MAX));
}

} // namespace tesker
