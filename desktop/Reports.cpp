#include "desktop/Reports.h"

#include "platform/foundation/Files.h"

#include <cerrno>
#include <cstring>

namespace tesker {

void Reports::failFor(const std::string &path, int error) { fail(path, std::strerror(error)); }

void Reports::unreadable(const std::string &path, int error) {
  switch (error) {
  case ENOENT:
  case ENOTDIR:
    return;
  case EINVAL:
    return note(path, "not a regular file; it is passed over");
  case EFBIG:
    return note(path, "far too large; it is passed over");
  case EACCES:
  case EPERM:
  case ELOOP:
  case ENAMETOOLONG:
  case ENXIO:
    return note(path, std::string(std::strerror(error)) + "; it is passed over");
  default:
    return failFor(path, error);
  }
}

bool Reports::succeeds(const std::string &path, const Result<> &result) {
  if (!result)
    failFor(path, result.error());
  return static_cast<bool>(result);
}

std::optional<std::string> readOrReport(const std::string &path, std::size_t most,
                                        Reports &reports) {
  Result<std::string> bytes = contentsOfFile(NSString::create(path), most);
  if (bytes)
    return std::move(*bytes);
  reports.unreadable(path, bytes.error());
  return std::nullopt;
}

} // namespace tesker
