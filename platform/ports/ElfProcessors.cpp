#include "platform/ports/ElfProcessors.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <bit>
#include <elf.h>

namespace tesker {

namespace {

constexpr HostProcessor kNoMachO = {-1, -1};

constexpr ElfMachine little32(std::uint16_t number) { return {number, false, false}; }
constexpr ElfMachine little64(std::uint16_t number) { return {number, true, false}; }
constexpr ElfMachine big32(std::uint16_t number) { return {number, false, true}; }
constexpr ElfMachine big64(std::uint16_t number) { return {number, true, true}; }

// The first one of a type is what the names of its models mean.
constexpr ElfProcessor kElfProcessors[] = {
    {"vax", {1, 0}, little32(EM_VAX), "VAX"},
    {"m68k", {6, 1}, big32(EM_68K), "MC68K"},
    {"i386", {7, 3}, little32(EM_386), "80x86"},
    {"i686", {7, 3}, little32(EM_386), "80x86"},
    {"x86_64", {7 | k64Bits, 3}, little64(EM_X86_64), "x86 (64 bits)"},
    {"amd64", {7 | k64Bits, 3}, little64(EM_X86_64), "x86 (64 bits)"},
    {"mips", {8, 0}, big32(EM_MIPS), "MIPS"},
    {"mipsel", {8, 0}, little32(EM_MIPS), "MIPS (little-endian)"},
    {"mips64", {8, 0}, big64(EM_MIPS), "MIPS (64 bits)"},
    {"mips64el", {8, 0}, little64(EM_MIPS), "MIPS (64 bits; little-endian)"},
    {"hppa", {11, 0}, big32(EM_PARISC), "PA-RISC"},
    {"parisc", {11, 0}, big32(EM_PARISC), "PA-RISC"},
    {"arm", {12, 0}, little32(EM_ARM), "Arm"},
    {"armel", {12, 0}, little32(EM_ARM), "Arm"},
    {"armhf", {12, 0}, little32(EM_ARM), "Arm"},
    {"armv6l", {12, 0}, little32(EM_ARM), "Arm"},
    {"armv7l", {12, 0}, little32(EM_ARM), "Arm"},
    {"armv8l", {12, 0}, little32(EM_ARM), "Arm"},
    {"arm64", {12 | k64Bits, 0}, little64(EM_AARCH64), "Arm (64 bits)"},
    {"aarch64", {12 | k64Bits, 0}, little64(EM_AARCH64), "Arm (64 bits)"},
    {"aarch64_be", {12 | k64Bits, 0}, big64(EM_AARCH64), "Arm (64 bits; big-endian)"},
    {"m88k", {13, 0}, big32(EM_88K), "MC88K"},
    {"sparc", {14, 0}, big32(EM_SPARC), "SPARC"},
    {"sparc64", {14, 0}, big64(EM_SPARCV9), "SPARC (64 bits)"},
    {"i860", {15, 0}, little32(EM_860), "i860"},
    {"ppc", {18, 0}, big32(EM_PPC), "PowerPC"},
    {"powerpc", {18, 0}, big32(EM_PPC), "PowerPC"},
    {"ppc64", {18 | k64Bits, 0}, big64(EM_PPC64), "PowerPC (64 bits)"},
    {"ppc64le", {18 | k64Bits, 0}, little64(EM_PPC64), "PowerPC (64 bits; little-endian)"},
    {"ppc64el", {18 | k64Bits, 0}, little64(EM_PPC64), "PowerPC (64 bits; little-endian)"},
    {"alpha", kNoMachO, little64(EM_ALPHA), "Alpha"},
    {"ia64", kNoMachO, little64(EM_IA_64), "Itanium"},
    {"loongarch64", kNoMachO, little64(EM_LOONGARCH), "LoongArch (64 bits)"},
    {"loong64", kNoMachO, little64(EM_LOONGARCH), "LoongArch (64 bits)"},
    {"riscv32", kNoMachO, little32(EM_RISCV), "RISC-V"},
    {"riscv64", kNoMachO, little64(EM_RISCV), "RISC-V (64 bits)"},
    {"s390x", kNoMachO, big64(EM_S390), "IBM Z"},
    {"sh4", kNoMachO, little32(EM_SH), "SuperH"},
};

#if defined(__x86_64__)
constexpr std::string_view kBuiltFor = "x86_64";
#elif defined(__i386__)
constexpr std::string_view kBuiltFor = "i386";
#elif defined(__aarch64__)
constexpr std::string_view kBuiltFor = "aarch64";
#elif defined(__arm__)
constexpr std::string_view kBuiltFor = "arm";
#elif defined(__powerpc64__)
constexpr std::string_view kBuiltFor = "ppc64";
#elif defined(__powerpc__)
constexpr std::string_view kBuiltFor = "ppc";
#elif defined(__riscv) && __riscv_xlen == 64
constexpr std::string_view kBuiltFor = "riscv64";
#elif defined(__s390x__)
constexpr std::string_view kBuiltFor = "s390x";
#elif defined(__loongarch64)
constexpr std::string_view kBuiltFor = "loongarch64";
#else
constexpr std::string_view kBuiltFor = "";
#endif

cpu_type_t familyOf(const HostProcessor &processor) {
  return processor.type < 0 ? processor.type : processor.type & ~k64Bits;
}

const ElfProcessor *firstThat(auto test) {
  const auto *const found = std::ranges::find_if(kElfProcessors, test);
  return found != std::end(kElfProcessors) ? found : nullptr;
}

// That of a name; nil for one without ELF files, and for what is not a name.
const ElfProcessor *processorCalled(std::string_view name) {
  if (const auto *named = firstThat([&](const ElfProcessor &each) { return each.name == name; }))
    return named;
  const auto known = knownProcessors();
  const auto model = std::ranges::find(known, name, &QXArchInfo::name);
  return model == known.end() ? nullptr : firstThat([&](const ElfProcessor &each) {
    return each.macho.type == model->cputype;
  });
}

// As uname(2) has it, which calls MIPS processors of both byte orders by one name.
ElfHost thisMachine() {
  const auto name = OperatingSystem::current().machineName();
  const ElfProcessor *processor = name ? processorCalled(*name) : nullptr;
  if (processor == nullptr)
    processor = processorCalled(kBuiltFor);
  if (processor == nullptr)
    return {};
  ElfMachine machine = processor->machine;
  machine.isBigEndian = std::endian::native == std::endian::big;
  return {.machine = machine};
}

} // namespace

std::span<const ElfProcessor> elfProcessors() { return kElfProcessors; }

std::string_view descriptionOf(const ElfMachine &machine) {
  const auto *known = firstThat([&](const ElfProcessor &each) { return each.machine == machine; });
  return known != nullptr ? known->description : std::string_view();
}

std::string descriptionOf(const ElfHost &host) {
  if (host.machine)
    return std::string(descriptionOf(*host.machine));
  std::string text;
  for (const ElfProcessor &each : kElfProcessors)
    if (host.family >= 0 && familyOf(each.macho) == host.family &&
        text.find(each.description) == std::string::npos)
      text.append(text.empty() ? "" : ", ").append(each.description);
  return text;
}

bool runs(const ElfHost &host, const ElfMachine &program) {
  if (host.machine)
    return *host.machine == program ||
           (*host.machine == little64(EM_X86_64) && program == little32(EM_386));
  return host.family >= 0 && firstThat([&](const ElfProcessor &each) {
                               return familyOf(each.macho) == host.family &&
                                      each.machine.number == program.number;
                             }) != nullptr;
}

std::optional<ElfHost> elfHostFromText(std::string_view text) {
  const auto processor = processorFromText(text);
  if (!processor)
    return std::nullopt;
  if (text.find('/') != std::string_view::npos)
    return ElfHost{.family = familyOf(*processor)};
  const ElfProcessor *known = processorCalled(text);
  return known != nullptr ? ElfHost{.machine = known->machine} : ElfHost();
}

ElfHost hostOfElfPrograms() {
  const auto wanted = environmentValue("TESKER_HOST_CPU");
  const auto host = wanted ? elfHostFromText(*wanted) : std::nullopt;
  return host ? *host : thisMachine();
}

} // namespace tesker
