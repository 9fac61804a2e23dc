// ElfProcessors.h - which ELF programs a machine runs.
//
// An ELF file names its processor by a number, the size of its words and their order. This goes
// beside the types and subtypes of HostInfo.h: TESKER_HOST_CPU says both, and where it says
// nothing, uname(2) does.
#pragma once

#include "platform/ports/HostInfo.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tesker {

// What the header of an ELF file says of the processor that it is for.
struct ElfMachine {
  std::uint16_t number; // e_machine
  bool is64;            // 64-bit structures and addresses
  bool isBigEndian;
  bool operator==(const ElfMachine &) const = default;
};

// A name that uname(2) or a distribution has for a processor. Several mean the same one. The type
// and subtype are those of Mach-O images that it runs: -1/-1 where there never were any.
struct ElfProcessor {
  std::string_view name;
  HostProcessor macho;
  ElfMachine machine;
  std::string_view description; // the same for all names of one machine
};

// Every processor of ELF files that has a name. A name that knownProcessors() has, too, has the
// same type and subtype there.
[[nodiscard]] std::span<const ElfProcessor> elfProcessors();

// "Arm (64 bits)"; "" for a machine without a name.
[[nodiscard]] std::string_view descriptionOf(const ElfMachine &machine);

// What a machine runs: programs for one processor, or for all of a family.
struct ElfHost {
  std::optional<ElfMachine> machine = {};
  cpu_type_t family = -1; // where there is no machine: a type of HostInfo.h, -1 for none at all
  bool operator==(const ElfHost &) const = default;
};

// "Arm (64 bits)", or all of a family: "80x86, x86 (64 bits)"; "" where there is neither.
[[nodiscard]] std::string descriptionOf(const ElfHost &host);

// Whether it runs a program for that machine. One of x86-64 runs those of the 80x86, too; a family
// all that are numbered as one of it, whatever their words are.
[[nodiscard]] bool runs(const ElfHost &host, const ElfMachine &program);

// The machine of that processor, for whatever processorFromText takes: a name stands for one (which
// may have no ELF files at all), TYPE/SUBTYPE for the family of the type. Nothing for other texts.
[[nodiscard]] std::optional<ElfHost> elfHostFromText(std::string_view text);

// This machine, or the one that TESKER_HOST_CPU names when that is set and not empty. Where it
// names none, nothing is logged: host_info does. A machine that uname(2) calls by an unknown name
// is one of the kind that this program was built for.
[[nodiscard]] ElfHost hostOfElfPrograms();

} // namespace tesker
