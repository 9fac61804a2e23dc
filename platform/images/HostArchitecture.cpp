#include "platform/images/HostArchitecture.h"

namespace tesker {

namespace {

cpu_type_t cputype;
cpu_subtype_t cpusubtype;
bool cputypeSet = false;

} // namespace

void setCpu() {
  host_basic_info info{};
  // Not checked: a host that does not answer has processor 0, for which nothing is suitable.
  host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT);
  cputype = info.cpu_type;
  cpusubtype = info.cpu_subtype;
  cputypeSet = true;
}

bool isHostCpuType(cpu_type_t type) {
  if (!cputypeSet)
    setCpu();
  return type == cputype;
}

std::optional<fat_arch> bestFatArch(FatArchReader records) {
  if (!cputypeSet)
    setCpu();
  const auto best = QXFindBestFatArch(cputype, cpusubtype, records);
  // What is compatible with the processor without being of its type is refused.
  return best && best->cputype == cputype ? best : std::nullopt;
}

} // namespace tesker
