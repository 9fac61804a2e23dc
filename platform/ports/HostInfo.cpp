#include "platform/ports/HostInfo.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/ports/ElfProcessors.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace tesker {

namespace {

constexpr host_t kThisHost = 1;
constexpr int kSuccess = 0;
constexpr int kInvalidArgument = 4;

// An x86 model is a family number and, in the bits above it, a model of that family.
constexpr cpu_subtype_t x86Model(int family, int model) { return family + model * 16; }

constexpr QXArchInfo kProcessors[] = {
    {"vax", 1, 0, "VAX"},
    {"vax780", 1, 1, "VAX-11/780"},
    {"vax785", 1, 2, "VAX-11/785"},
    {"vax750", 1, 3, "VAX-11/750"},
    {"vax730", 1, 4, "VAX-11/730"},
    {"uvaxI", 1, 5, "MicroVAX I"},
    {"uvaxII", 1, 6, "MicroVAX II"},
    {"vax8200", 1, 7, "VAX 8200"},
    {"vax8500", 1, 8, "VAX 8500"},
    {"vax8600", 1, 9, "VAX 8600"},
    {"vax8650", 1, 10, "VAX 8650"},
    {"vax8800", 1, 11, "VAX 8800"},
    {"uvaxIII", 1, 12, "MicroVAX III"},
    {"m68k", 6, 1, "MC68K"},
    {"m68040", 6, 2, "MC68040"},
    {"m68030", 6, 3, "MC68030"},
    {"i386", 7, 3, "80x86"},
    {"i486", 7, 4, "80486"},
    {"i486SX", 7, x86Model(4, 8), "80486SX"},
    {"i586", 7, 5, "Pentium"},
    {"i586SX", 7, x86Model(5, 8), "Pentium SX"},
    {"pentpro", 7, x86Model(6, 1), "Pentium Pro"},
    {"pentIIm3", 7, x86Model(6, 3), "Pentium II Model 3"},
    {"pentIIm5", 7, x86Model(6, 5), "Pentium II Model 5"},
    {"pentium4", 7, 10, "Pentium 4"},
    {"x86_64", 7 | k64Bits, 3, "x86 (64 bits)"},
    {"mips", 8, 0, "MIPS"},
    {"mipsR2300", 8, 1, "MIPS R2300"},
    {"mipsR2600", 8, 2, "MIPS R2600"},
    {"mipsR2800", 8, 3, "MIPS R2800"},
    {"mipsR2000a", 8, 4, "MIPS R2000A"},
    {"mipsR2000", 8, 5, "MIPS R2000"},
    {"mipsR3000a", 8, 6, "MIPS R3000A"},
    {"mipsR3000", 8, 7, "MIPS R3000"},
    {"m98k", 10, 0, "MC98K"},
    {"m98601", 10, 1, "MC98601"},
    {"hppa", 11, 0, "PA-RISC"},
    {"hppa7100LC", 11, 1, "PA-RISC 7100LC"},
    {"arm", 12, 0, "Arm"},
    {"armv4t", 12, 5, "Arm v4T"},
    {"armv6", 12, 6, "Arm v6"},
    {"armv5", 12, 7, "Arm v5TEJ"},
    {"xscale", 12, 8, "Arm XScale"},
    {"armv7", 12, 9, "Arm v7"},
    {"arm64", 12 | k64Bits, 0, "Arm (64 bits)"},
    {"arm64v8", 12 | k64Bits, 1, "Arm v8 (64 bits)"},
    {"m88k", 13, 0, "MC88K"},
    {"m88100", 13, 1, "MC88100"},
    {"m88110", 13, 2, "MC88110"},
    {"sparc", 14, 0, "SPARC"},
    {"i860", 15, 0, "i860"},
    {"i860XR", 15, 1, "i860 XR"},
    {"ppc", 18, 0, "PowerPC"},
    {"ppc601", 18, 1, "PowerPC 601"},
    {"ppc602", 18, 2, "PowerPC 602"},
    {"ppc603", 18, 3, "PowerPC 603"},
    {"ppc603e", 18, 4, "PowerPC 603e"},
    {"ppc603ev", 18, 5, "PowerPC 603ev"},
    {"ppc604", 18, 6, "PowerPC 604"},
    {"ppc604e", 18, 7, "PowerPC 604e"},
    {"ppc620", 18, 8, "PowerPC 620"},
    {"ppc750", 18, 9, "PowerPC 750"},
    {"ppc7400", 18, 10, "PowerPC 7400"},
    {"ppc7450", 18, 11, "PowerPC 7450"},
    {"ppc970", 18, 100, "PowerPC 970"},
    {"ppc64", 18 | k64Bits, 0, "PowerPC (64 bits)"},
    {"ppc970-64", 18 | k64Bits, 100, "PowerPC 970 (64 bits)"},
};

// What the program was built for is what it runs on.
constexpr HostProcessor machineProcessor() {
#if defined(__i386__) || defined(__x86_64__)
  return {7, 3};
#elif defined(__arm__) || defined(__aarch64__)
  return {12, 0};
#elif defined(__powerpc__) || defined(__powerpc64__)
  return {18, 0};
#else
  return {-1, -1};
#endif
}

std::optional<std::int32_t> decimalNumber(std::string_view text) {
  std::int32_t number = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

HostProcessor hostProcessor() {
  const auto wanted = environmentValue("TESKER_HOST_CPU");
  if (!wanted)
    return machineProcessor();
  if (const auto processor = processorFromText(*wanted))
    return *processor;
  syslogError("Tool: TESKER_HOST_CPU names no known processor: %s", {*wanted});
  return machineProcessor();
}

constexpr int kPriorityOfNiceZero = 10;
constexpr int kMostNice = 19;
constexpr int kLeastNice = -20;

int niceOfPriority(int priority) {
  return kPriorityOfNiceZero -
         std::clamp(priority, kPriorityOfNiceZero - kMostNice, kPriorityOfNiceZero - kLeastNice);
}

// Answers 0, or the positive errno. A thread that has ended meanwhile is as good as changed.
int setNice(id_t thread, int nice) {
  if (OperatingSystem::current().setNice(thread, nice) == 0 || errno == ESRCH)
    return 0;
  return errno;
}

int setNiceOfAllThreads(int nice) {
  const auto threads = OperatingSystem::current().openDirectory("/proc/self/task");
  if (threads == nullptr)
    return errno;
  while (const auto name = threads->next()) {
    id_t thread = 0;
    const char *end = name->data() + name->size();
    const auto parsed = std::from_chars(name->data(), end, thread);
    if (parsed.ec != std::errc() || parsed.ptr != end)
      continue; // "." and ".."
    if (const int error = setNice(thread, nice); error != 0)
      return error;
  }
  return 0;
}

} // namespace

std::span<const QXArchInfo> knownProcessors() { return kProcessors; }

std::optional<HostProcessor> processorFromText(std::string_view text) {
  const auto *known = std::ranges::find(kProcessors, text, &QXArchInfo::name);
  if (known != std::end(kProcessors))
    return HostProcessor{known->cputype, known->cpusubtype};
  const auto elf = elfProcessors();
  if (const auto found = std::ranges::find(elf, text, &ElfProcessor::name); found != elf.end())
    return found->macho;
  const auto slash = text.find('/');
  if (slash == std::string_view::npos)
    return std::nullopt;
  const auto type = decimalNumber(text.substr(0, slash));
  const auto subtype = decimalNumber(text.substr(slash + 1));
  return type && subtype ? std::optional(HostProcessor{*type, *subtype}) : std::nullopt;
}

host_t host_self() { return kThisHost; }

int host_info(host_t host, int flavour, host_basic_info &info, unsigned count) {
  if (host != kThisHost || flavour != HOST_BASIC_INFO || count < HOST_BASIC_INFO_COUNT)
    return kInvalidArgument;
  const HostProcessor processor = hostProcessor();
  info = {0, 0, 0, processor.type, processor.subtype};
  return kSuccess;
}

kern_return_t task_priority(port_t task, int priority, bool changeThreads) {
  if (task != task_self())
    return EINVAL;
  const int nice = niceOfPriority(priority);
  return changeThreads ? setNiceOfAllThreads(nice) : setNice(0, nice);
}

} // namespace tesker
