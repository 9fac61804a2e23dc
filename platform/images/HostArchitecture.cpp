#include "platform/images/HostArchitecture.h"

#include "platform/images/FatArch.h"

#include <optional>

namespace tesker {

namespace {

HostProcessor hostCpu;
bool cputypeSet = false;
std::optional<ElfHost> hostElf;

} // namespace

void setCpu() {
  host_basic_info info{};
  // Not checked: a host that does not answer has processor 0, for which nothing is suitable.
  host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT);
  hostCpu = {info.cpu_type, info.cpu_subtype};
  cputypeSet = true;
  hostElf.reset();
}

const HostProcessor &hostProcessor() {
  if (!cputypeSet)
    setCpu();
  return hostCpu;
}

// -1 is the type of hosts that Mach-O files have no type for.
bool isHostCpuType(cpu_type_t type) { return type != -1 && type == hostProcessor().type; }

const QXArchInfo *hostArchitecture() {
  const HostProcessor &ours = hostProcessor();
  return QXGetArchInfoFromCpuType(ours.type, ours.subtype);
}

const ElfHost &elfHost() {
  if (!cputypeSet)
    setCpu(); // which says so where TESKER_HOST_CPU names no processor
  if (!hostElf)
    hostElf = hostOfElfPrograms();
  return *hostElf;
}

} // namespace tesker
