// HostArchitecture.h - the processor of the machine that this runs on.
//
// It is asked for once, by the first question that needs it, and kept for the life of the process.
#pragma once

#include "platform/ports/ElfProcessors.h"

namespace tesker {

// Asks the machine (host_info) for its processor, now, and keeps the answer for the functions
// below. They do so by themselves when it has not been done.
void setCpu();

// The type and subtype of this machine's processor.
[[nodiscard]] const HostProcessor &hostProcessor();

// True when the processor type is this machine's. The subtype is never compared.
[[nodiscard]] bool isHostCpuType(cpu_type_t type);

// This machine's processor among the known ones, or nil.
[[nodiscard]] const QXArchInfo *hostArchitecture();

// Which ELF programs this machine runs. What it runs is only looked for when there is one.
[[nodiscard]] const ElfHost &elfHost();

} // namespace tesker
