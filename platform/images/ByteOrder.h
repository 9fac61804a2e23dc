// ByteOrder.h - turning Mach-O structures from one byte order into the other, in place.
//
// Each function reverses the bytes of every word and leaves names alone. Which order a structure is
// in, the caller knows.
#pragma once

#include "platform/images/MachO.h"

namespace tesker {

void swap_mach_header(mach_header &header);
void swap_load_command(load_command &command);
void swap_segment_command(segment_command &command);
void swap_section_entry(section_entry &entry);
void swap_fat_header(fat_header &header);
void swap_fat_arch(fat_arch &record);

} // namespace tesker
