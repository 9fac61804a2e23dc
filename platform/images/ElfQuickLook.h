// ElfQuickLook.h - sees at a glance that an ordinary ELF program says nothing of itself.
//
// The programs of a searched directory are mostly such files, and none of them may cost much. What
// a linker makes has its notes among the first bytes, and the names of its sections beside their
// headers at the end: it is enough that certain texts are in neither. Everything else is left to
// the proper search (ElfDescription), which finds the same in such files, too.
#pragma once

#include "platform/images/ElfFile.h"

namespace tesker {

// True when an image that begins as ELF files of this machine's byte order do, of 64 bits or of 32,
// has notes, but none of ours, and no section of ours. False also when a glance does not tell.
[[nodiscard]] bool clearlySaysNothing(ElfBytes &image, bool is64);

} // namespace tesker
