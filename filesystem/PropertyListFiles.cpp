#include "filesystem/PropertyListFiles.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListDescription.h"

namespace tesker {

bool writeStringToPath(const NSString &path, const NSString &string) {
  return static_cast<bool>(writeFileAtomically(path, string.bytes()));
}

RefPtr<NSDictionary> readOldStylePList(const NSString &path) {
  const Result<std::string> text = contentsOfFile(path, kLargestPropertyListFile);
  if (!text)
    return nullptr;
  try {
    return propertyListFromStringsFileFormat(*text);
  } catch (const NSException &) {
    return nullptr;
  }
}

bool writeOldStylePList(const NSString &path, const NSDictionary &list) {
  return writeStringToPath(path, descriptionInStringsFileFormat(list));
}

} // namespace tesker
