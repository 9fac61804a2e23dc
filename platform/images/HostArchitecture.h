// HostArchitecture.h - which of a file's architectures is for the machine that this runs on.
//
// The machine's processor is asked for once, by the first question that needs it, and kept for the
// life of the process. Threading: one thread.
#pragma once

#include "platform/images/FatArch.h"

#include <optional>

namespace tesker {

// Asks the machine (host_info) for its processor, now, and keeps the answer for the functions
// below. They do so by themselves when it has not been done.
void setCpu();

// True when the processor type is this machine's. The subtype is never compared.
[[nodiscard]] bool isHostCpuType(cpu_type_t type);

// The record for this machine's processor; nothing when there is none of its type.
[[nodiscard]] std::optional<fat_arch> bestFatArch(FatArchReader records);

} // namespace tesker
