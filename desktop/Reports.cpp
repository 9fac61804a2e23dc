#include "desktop/Reports.h"

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

} // namespace tesker
