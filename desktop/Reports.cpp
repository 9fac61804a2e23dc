#include "desktop/Reports.h"

#include <cstring>

namespace tesker {

void Reports::failFor(const std::string &path, int error) { fail(path, std::strerror(error)); }

} // namespace tesker
