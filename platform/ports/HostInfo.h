// HostInfo.h - which processor this machine has, which ones there are, and how eagerly to use it.
//
// Processors are told apart by a type (the family) and a subtype (the model), numbered as the
// Mach-O file format numbers them. TESKER_HOST_CPU in the environment overrides what the machine
// has, for a master that lists what another machine could run.
#pragma once

#include "platform/ports/Port.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tesker {

using cpu_type_t = std::int32_t;
using cpu_subtype_t = std::int32_t;

// In the type of a processor of 64 bits, beside the family.
inline constexpr cpu_type_t k64Bits = 0x01000000;

struct HostProcessor {
  cpu_type_t type;
  cpu_subtype_t subtype;
  bool operator==(const HostProcessor &) const = default;
};

// A processor with the word that names it and the text that describes it to a person.
struct QXArchInfo {
  std::string_view name;
  cpu_type_t cputype;
  cpu_subtype_t cpusubtype;
  std::string_view description;
};

// Every processor that has a name: each family is followed by its models. Names are unique, and so
// are the pairs of type and subtype.
[[nodiscard]] std::span<const QXArchInfo> knownProcessors();

// The processor that the text stands for: the name of a known one, here or in ElfProcessors.h, or
// TYPE/SUBTYPE, two signed decimal numbers of 32 bits. Nothing when it is neither. A processor that
// no Mach-O file is for has a name and is -1/-1.
[[nodiscard]] std::optional<HostProcessor> processorFromText(std::string_view text);

// ---- this machine ----

using host_t = unsigned;

// The machine that the task runs on.
[[nodiscard]] host_t host_self();

// Basic information about a host, five words. Nobody here asks for more than the processor, so the
// first three are 0.
struct host_basic_info {
  std::int32_t max_cpus;
  std::int32_t avail_cpus;
  std::uint32_t memory_size;
  cpu_type_t cpu_type;
  cpu_subtype_t cpu_subtype;
};
inline constexpr int HOST_BASIC_INFO = 1;
inline constexpr unsigned HOST_BASIC_INFO_COUNT = 5;

// Fills in the information and answers 0; answers 4 (invalid argument) and changes nothing for
// another host, flavour or a count (of words) below 5. The processor is the one TESKER_HOST_CPU
// names when that is set and not empty; when it names none, one line is logged to the system log
// and the processor is the machine's: x86 (64 bits too) is 7/3, Arm 12/0, PowerPC 18/0, and a
// machine of no known family is -1/-1, which no real executable is for.
int host_info(host_t host, int flavour, host_basic_info &info, unsigned count);

// ---- this task ----

// Sets the scheduling priority: 10 is nice 0, each step up one nice step down, absolutely. With
// changeThreads every thread of the task gets it, without it the calling thread and those it makes
// from now on. Answers 0, or the positive errno: EINVAL when the task is not this one; where the
// system does not permit it nothing changes.
kern_return_t task_priority(port_t task, int priority, bool changeThreads);

} // namespace tesker
