// MachO.h - the structures and numbers of 32-bit Mach-O images and of fat files.
//
// Mach-O file format, as <loader.h>-style headers define it. Structures are what stands in the
// file, byte for byte; they are copied out of it, never pointed at inside it. The words of an image
// are in its writer's byte order (the functions at the end turn them), those of fat files are
// big-endian.
#pragma once

#include "platform/ports/HostInfo.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tesker {

// The first word of an image in this machine's byte order, and in the other one.
inline constexpr std::uint32_t MH_MAGIC = 0xfeedface;
inline constexpr std::uint32_t MH_CIGAM = 0xcefaedfe;
// The first word of a fat file, read as big-endian, and as little-endian.
inline constexpr std::uint32_t FAT_MAGIC = 0xcafebabe;
inline constexpr std::uint32_t FAT_CIGAM = 0xbebafeca;

// filetype of a relocatable object: all its sections stand in one segment without a name.
inline constexpr std::uint32_t MH_OBJECT = 1;
// cmd of a load command that describes a 32-bit segment.
inline constexpr std::uint32_t LC_SEGMENT = 1;

// A name in an image: NUL-padded, without a NUL when it is 16 bytes long.
using MachOName = std::array<char, 16>;

// At the start of an image; ncmds load commands of sizeofcmds bytes in all follow it.
struct mach_header {
  std::uint32_t magic;
  cpu_type_t cputype;
  cpu_subtype_t cpusubtype;
  std::uint32_t filetype;
  std::uint32_t ncmds;
  std::uint32_t sizeofcmds;
  std::uint32_t flags;
};
static_assert(sizeof(mach_header) == 28);

// How every load command begins. cmdsize counts these 8 bytes too.
struct load_command {
  std::uint32_t cmd;
  std::uint32_t cmdsize;
};
static_assert(sizeof(load_command) == 8);

// A whole LC_SEGMENT command but for the nsects section entries that follow it.
struct segment_command {
  std::uint32_t cmd;
  std::uint32_t cmdsize;
  MachOName segname;
  std::uint32_t vmaddr;
  std::uint32_t vmsize;
  std::uint32_t fileoff;
  std::uint32_t filesize;
  std::int32_t maxprot;
  std::int32_t initprot;
  std::uint32_t nsects;
  std::uint32_t flags;
};
static_assert(sizeof(segment_command) == 56);
static_assert(offsetof(segment_command, nsects) == 48);

// A section entry. offset is from the start of the image.
struct section_entry {
  MachOName sectname;
  MachOName segname;
  std::uint32_t addr;
  std::uint32_t size;
  std::uint32_t offset;
  std::uint32_t align;
  std::uint32_t reloff;
  std::uint32_t nreloc;
  std::uint32_t flags;
  std::uint32_t reserved1;
  std::uint32_t reserved2;
};
static_assert(sizeof(section_entry) == 68);
static_assert(offsetof(section_entry, size) == 36 && offsetof(section_entry, offset) == 40);

// At the start of a fat file; nfat_arch records follow it.
struct fat_header {
  std::uint32_t magic;
  std::uint32_t nfat_arch;
};
static_assert(sizeof(fat_header) == 8);

// One architecture of a fat file: its image is the size bytes at the offset of the file.
struct fat_arch {
  cpu_type_t cputype;
  cpu_subtype_t cpusubtype;
  std::uint32_t offset;
  std::uint32_t size;
  std::uint32_t align; // of the offset, as a power of 2; not used
};
static_assert(sizeof(fat_arch) == 20);

// ---- turning Mach-O structures from one byte order into the other, in place ----
//
// Each function reverses the bytes of every word and leaves names alone. Which order a structure is
// in, the caller knows.

void swap_mach_header(mach_header &header);
void swap_load_command(load_command &command);
void swap_segment_command(segment_command &command);
void swap_section_entry(section_entry &entry);
void swap_fat_header(fat_header &header);
void swap_fat_arch(fat_arch &record);

} // namespace tesker
