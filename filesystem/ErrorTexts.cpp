#include "filesystem/ErrorTexts.h"

#include "filesystem/PropertyListFiles.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tesker {

namespace {

// From the system's text to the text to show.
NSDictionary &loadTexts() {
  NSDictionary &texts = *NSDictionary::create(filerZone()).leak();
  const NSString path = NSBundle::mainBundle().pathForResource("errno", "strings");
  if (const auto list = path ? readOldStylePList(path) : nullptr)
    texts.addEntriesFromDictionary(*list);
  else
    NSLog("Cannot find errno language file");
  return texts;
}

NSString shownText(const char *systemText) {
  // Loaded once, also when it was missing, so that this is logged once.
  static NSDictionary &texts = loadTexts();
  if (const NSString text = texts.stringForKey(systemText))
    return text;
  NSLog("Cannot find value for string '%@' in errno string table", {systemText});
  // Logged once for each text: from now on it stands for itself.
  const NSString text = NSString::create(systemText, filerZone());
  texts.setObjectForKey(text, text);
  return text;
}

} // namespace

NSString TeskerErrno() {
  const int number = errno;
  const char *systemText = number > 0 ? strerrordesc_np(number) : nullptr;
  if (systemText == nullptr)
    return "Unknown error"_ns;
  const NSString text = shownText(systemText);
  // Reading the resource has made system calls; the caller's number stays what it was.
  errno = number;
  return text;
}

void TeskerBug(std::string_view message, std::initializer_list<std::string_view> arguments) {
  NSLog(message, arguments);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void _ERROR(const NSString &reason) {
  throw NSException(TeskerGenericFilerException, std::string(reason.bytes()));
}

} // namespace tesker
