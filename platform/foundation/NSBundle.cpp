#include "platform/foundation/NSBundle.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"

#include <fcntl.h>
#include <string>

namespace tesker {

namespace {

bool exists(const NSString &path, struct stat &status) {
  return OperatingSystem::current().statAt(AT_FDCWD, path.fileSystemRepresentation(), true,
                                           status) == 0;
}

bool isDirectory(const NSString &path) {
  struct stat status {};
  return exists(path, status) && S_ISDIR(status.st_mode);
}

} // namespace

Ref<NSBundle> NSBundle::mainBundle() {
  const std::string program = OperatingSystem::current().programPath().value_or("");
  const std::string folder = program.substr(0, program.rfind('/') + 1);
  auto resources = NSString::create(folder + "../share/tesker/Resources");
  if (!isDirectory(*resources)) {
    auto above = NSString::create(folder + "../../share/tesker/Resources");
    if (isDirectory(*above))
      resources = std::move(above);
  }
  return allocate<NSBundle>(NSDefaultMallocZone(), std::move(resources));
}

RefPtr<NSBundle> NSBundle::bundleWithPath(const NSString &path) {
  if (!isDirectory(path))
    return nullptr;
  return allocate<NSBundle>(NSDefaultMallocZone(),
                            path.stringByAppendingPathComponent("Resources"));
}

RefPtr<NSDictionary> NSBundle::infoDictionary() const {
  return dictionaryWithContentsOfFile(
      *resourcePath_->stringByAppendingPathComponent("Info-quorvale.plist"));
}

RefPtr<NSString> NSBundle::pathForResource(std::string_view name, std::string_view type) const {
  std::string file(name);
  if (!type.empty())
    file.append(".").append(type);
  auto path = resourcePath_->stringByAppendingPathComponent(file);
  struct stat status {};
  if (!exists(*path, status))
    return nullptr;
  return path;
}

} // namespace tesker
