#include "platform/ports/ElfProcessors.h"

#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"

#include <elf.h>
#include <gtest/gtest.h>
#include <map>

namespace tesker::test {
namespace {

constexpr ElfMachine kX86_64 = {EM_X86_64, true, false};
constexpr ElfMachine kI386 = {EM_386, false, false};
constexpr ElfMachine kArm = {EM_ARM, false, false};
constexpr ElfMachine kArm64 = {EM_AARCH64, true, false};

bool runsOn(std::string_view processor, const ElfMachine &program) {
  const auto host = elfHostFromText(processor);
  return host && runs(*host, program);
}

TEST(ElfHost, RunsProgramsForItsOwnMachineOnly) {
  EXPECT_TRUE(runsOn("aarch64", kArm64));
  EXPECT_FALSE(runsOn("aarch64", kArm));
  EXPECT_FALSE(runsOn("aarch64", kX86_64));
  EXPECT_FALSE(runsOn("aarch64", {EM_AARCH64, true, true}));
  EXPECT_FALSE(runsOn("aarch64", {EM_AARCH64, false, false}));
  EXPECT_TRUE(runsOn("ppc64le", {EM_PPC64, true, false}));
  EXPECT_FALSE(runsOn("ppc64", {EM_PPC64, true, false}));
  EXPECT_TRUE(runsOn("riscv64", {EM_RISCV, true, false}));
  EXPECT_FALSE(runsOn("riscv32", {EM_RISCV, true, false}));
}

TEST(ElfHost, OfX86_64RunsThoseOfThe80x86Too) {
  EXPECT_TRUE(runsOn("x86_64", kX86_64));
  EXPECT_TRUE(runsOn("x86_64", kI386));
  EXPECT_TRUE(runsOn("i386", kI386));
  EXPECT_FALSE(runsOn("i386", kX86_64));
}

TEST(ElfHost, OfATypeRunsItsWholeFamily) {
  for (const char *processor : {"7/3", "7/99", "16777223/3"}) {
    EXPECT_TRUE(runsOn(processor, kX86_64)) << processor;
    EXPECT_TRUE(runsOn(processor, kI386)) << processor;
    EXPECT_FALSE(runsOn(processor, kArm)) << processor;
  }
  EXPECT_TRUE(runsOn("12/0", kArm));
  EXPECT_TRUE(runsOn("12/0", kArm64));
  EXPECT_TRUE(runsOn("18/0", {EM_PPC64, true, false}));
  EXPECT_FALSE(runsOn("-1/-1", {EM_RISCV, true, false}));
  EXPECT_FALSE(runsOn("-2147483648/0", kI386));
  EXPECT_FALSE(runsOn("0/0", kI386));
}

TEST(ElfHost, IsThatOfTheTypeForTheNamesOfModels) {
  EXPECT_EQ(elfHostFromText("pentium4"), elfHostFromText("i386"));
  EXPECT_EQ(elfHostFromText("armv7"), elfHostFromText("arm"));
  EXPECT_EQ(elfHostFromText("arm64v8"), elfHostFromText("aarch64"));
  EXPECT_EQ(elfHostFromText("m98k"), ElfHost());
  EXPECT_EQ(elfHostFromText("abacus"), std::nullopt);
}

TEST(ElfHost, IsTheMachineThatUnameNames) {
  const ScopedEnvironment none("TESKER_HOST_CPU", "");
  class NamedMachine final : public OperatingSystem {
  public:
    std::optional<std::string> name;
    std::optional<std::string> machineName() override { return name; }
  };
  NamedMachine system;
  const ScopedOperatingSystem scoped(system);
  const auto builtFor = hostOfElfPrograms();
  EXPECT_TRUE(builtFor.machine);
  system.name = "abacus";
  EXPECT_EQ(hostOfElfPrograms(), builtFor);
  system.name = "7/3";
  EXPECT_EQ(hostOfElfPrograms(), builtFor);
  system.name = "riscv64";
  EXPECT_EQ(hostOfElfPrograms().machine->number, EM_RISCV);
  system.name = "i686";
  EXPECT_EQ(hostOfElfPrograms().machine->number, EM_386);
}

TEST(ElfHost, IsOverriddenWithoutAWordAndWithoutAskingTheMachine) {
  LogCapture log;
  CountingOperatingSystem system;
  const ScopedOperatingSystem scoped(system);
  {
    const ScopedEnvironment other("TESKER_HOST_CPU", "s390x");
    EXPECT_EQ(hostOfElfPrograms(), elfHostFromText("s390x"));
    EXPECT_EQ(system.count("machineName"), 0u);
  }
  const ScopedEnvironment unknown("TESKER_HOST_CPU", "abacus");
  EXPECT_TRUE(hostOfElfPrograms().machine);
  EXPECT_EQ(system.count("machineName"), 1u);
  EXPECT_TRUE(log.syslogged.empty());
}

TEST(ElfProcessors, AgreeWithTheKnownOnesInWhatTheyShare) {
  for (const ElfProcessor &processor : elfProcessors()) {
    EXPECT_EQ(processorFromText(processor.name), processor.macho) << processor.name;
    EXPECT_EQ(elfHostFromText(processor.name)->machine, processor.machine) << processor.name;
    EXPECT_EQ(descriptionOf(processor.machine), processor.description) << processor.name;
    EXPECT_EQ(processor.description.find(','), std::string_view::npos) << processor.name;
  }
}

TEST(ElfHost, IsDescribedByWhatItRuns) {
  EXPECT_EQ(descriptionOf(*elfHostFromText("aarch64")), "Arm (64 bits)");
  EXPECT_EQ(descriptionOf(*elfHostFromText("7/3")), "80x86, x86 (64 bits)");
  EXPECT_EQ(descriptionOf(*elfHostFromText("6/1")), descriptionOf(*elfHostFromText("m68k")));
  EXPECT_EQ(descriptionOf(*elfHostFromText("-1/-1")), "");
  EXPECT_EQ(descriptionOf(ElfHost()), "");
}

TEST(ElfProcessors, WithoutMachOFilesAreForNone) {
  for (const char *name : {"riscv64", "s390x", "loongarch64"})
    EXPECT_EQ(processorFromText(name), (HostProcessor{-1, -1})) << name;
}

} // namespace
} // namespace tesker::test
