#include "platform/foundation/NSBundle.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/ReadFailures.h"

#include <cerrno>
#include <fcntl.h>
#include <string>

namespace tesker {

namespace {

bool exists(const NSString &path, struct stat &status) {
  if (OperatingSystem::current().statAt(AT_FDCWD, path.fileSystemRepresentation(), true, status) ==
      0)
    return true;
  noteReadFailure(errno);
  return false;
}

bool isDirectory(const NSString &path) {
  struct stat status {};
  return exists(path, status) && S_ISDIR(status.st_mode);
}

} // namespace

NSBundle NSBundle::mainBundle() {
  const std::string folder = OperatingSystem::current().programFolder();
  const NSString beside = NSString::create(folder + "../share/tesker/Resources");
  const NSString above = NSString::create(folder + "../../share/tesker/Resources");
  return NSBundle(!isDirectory(beside) && isDirectory(above) ? above : beside);
}

std::optional<NSBundle> NSBundle::bundleWithPath(const NSString &path) {
  if (!isDirectory(path))
    return std::nullopt;
  return NSBundle(path.stringByAppendingPathComponent("Resources"));
}

RefPtr<const NSDictionary> NSBundle::infoDictionary() const {
  return dictionaryWithContentsOfFile(
      resourcePath_.stringByAppendingPathComponent("Info-quorvale.plist"));
}

NSString NSBundle::pathForResource(std::string_view name, std::string_view type) const {
  std::string file(name);
  if (!type.empty())
    file.append(".").append(type);
  const NSString path = resourcePath_.stringByAppendingPathComponent(file);
  struct stat status {};
  return exists(path, status) ? path : nullptr;
}

} // namespace tesker
