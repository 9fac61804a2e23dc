// The texts to show for failed system calls.
#include "filesystem/FileManagerUtils.h"

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace tesker {

namespace {

// From the system's text to the text to show.
NSMutableDictionary &loadTexts() {
  const auto path = NSBundle::mainBundle()->pathForResource("errno", "strings");
  if (const auto list = path ? readOldStylePList(*path) : nullptr)
    return *NSMutableDictionary::copyOf(*list, filerZone()).leak();
  NSLog("Cannot find errno language file");
  return *NSMutableDictionary::create(0, filerZone()).leak();
}

Ref<NSString> shownText(const char *systemText) {
  // Loaded once, also when it was missing, so that this is logged once.
  static NSMutableDictionary &texts = loadTexts();
  if (const auto text = as<NSString>(texts.objectForKey(systemText)))
    return text.toRef();
  NSLog("Cannot find value for string '%@' in errno string table", {systemText});
  // Logged once for each text: from now on it stands for itself.
  auto text = NSString::create(systemText, filerZone());
  texts.setObjectForKey(text, *text);
  return text;
}

} // namespace

Ref<NSString> TeskerErrno() {
  const int number = errno;
  const char *systemText = number > 0 ? strerrordesc_np(number) : nullptr;
  if (systemText == nullptr)
    return NSString::create("Unknown error");
  auto text = shownText(systemText);
  // Reading the resource has made system calls; the caller's number stays what it was.
  errno = number;
  return text;
}

} // namespace tesker
