#include "caching/FilerTS.h"

#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/OperatingSystem.h"

namespace tesker {

FilerTS globalLastValidateDate;

std::int32_t TSCurrentTime() {
  return static_cast<std::int32_t>(OperatingSystem::current().currentTime());
}

void setFilerTS(FilerTS &stamp) { stamp = {TSCurrentTime(), generation}; }

void setGlobalTS(FilerTS &stamp) { stamp = globalLastValidateDate; }

} // namespace tesker
