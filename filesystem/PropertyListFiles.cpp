// Property lists in files.
#include "filesystem/FileManagerUtils.h"

#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"

namespace tesker {

bool writeStringToPath(const NSString &path, const NSString &string) {
  return writeFileAtomically(path, string.bytes());
}

RefPtr<NSDictionary> readOldStylePList(const NSString &path) {
  const auto text = contentsOfFile(path, kLargestPropertyListFile);
  if (!text)
    return nullptr;
  try {
    return propertyListFromStringsFileFormat(*text);
  } catch (const NSException &) {
    return nullptr;
  }
}

bool writeOldStylePList(const NSString &path, const NSDictionary &list) {
  return writeStringToPath(path, *descriptionInStringsFileFormat(list));
}

} // namespace tesker
