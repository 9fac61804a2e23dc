// ELF files that describe themselves, parsed.
#include "parsing/ArchitectureCheck.h"
#include "tests/parsing/IconHeaderTest.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/ElfBuilder.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <utility>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char *kThreeRecords =
    "F\tEdit\tEditor\tedit\nS\ttiff\tEdit\ttiffdoc\nwrong\n"
    "{ type = app; suitable = maybe; }\n{ broken\n}\nS\tmd\tEdit\tpage";

class ElfHeader : public IconHeader {
protected:
  std::vector<std::string> recordsOf(const std::string &bytes) {
    directory_.writeFile("Foo", bytes, 0755);
    return parse(directory_.path(), "Foo");
  }
};

TEST_F(ElfHeader, MakesTheRecordsAndLogLinesOfAMachOFile) {
  MachOBuilder machO(kI386);
  machO.section("__ICON", "__header", kThreeRecords).section("__ICON", "__request", "");
  const auto expected = recordsOf(machO.bytes());
  const auto lines = std::exchange(log_.syslogged, {});
  EXPECT_EQ(expected.size(), 5u);
  EXPECT_EQ(lines.size(), 3u);
  for (const bool asNotes : {true, false}) {
    ElfBuilder elf(kElfI386);
    if (asNotes)
      elf.noteSegment(elf.ourNote(DescriptionNote::header, kThreeRecords) +
                      elf.ourNote(DescriptionNote::request, ""));
    else
      elf.namedSection("__ICON.__header", kThreeRecords).namedSection("__ICON.__request", "");
    EXPECT_EQ(recordsOf(elf.bytes()), expected);
    EXPECT_EQ(std::exchange(log_.syslogged, {}), lines);
  }
}

TEST_F(ElfHeader, IsNotSuitableForAnotherMachine) {
  EXPECT_THAT(recordsOf(elfProgram(kEditLine, kElfI386)), ElementsAre(kEditRecord));
  const auto foreign = recordsOf(elfProgram(kEditLine, kElfPPC));
  ASSERT_EQ(foreign.size(), 1u);
  EXPECT_THAT(foreign[0], ::testing::HasSubstr("suitable = no"));
  EXPECT_EQ(TKIsProperExecutable(directory_.string(), "Foo"_ns), Suitability::notSuitable);
  EXPECT_EQ(getArchNames(directory_.string("Foo")), "PowerPC"_ns);
  const ScopedHostCpu other("ppc");
  EXPECT_THAT(recordsOf(elfProgram(kEditLine, kElfPPC)), ElementsAre(kEditRecord));
  EXPECT_EQ(TKIsProperExecutable(directory_.string(), "Foo"_ns), Suitability::suitable);
}

TEST_F(ElfHeader, OffersServicesWithoutAHeader) {
  ElfBuilder elf(kElfPPC);
  elf.noteSegment(elf.ourNote(DescriptionNote::services, ""));
  EXPECT_THAT(recordsOf(elf.bytes()), ElementsAre("{path = \"@/Foo\"; type = services; }"));
}

TEST_F(ElfHeader, InABundleMakesItsRecord) {
  directory_.writeFile("A.bundle/Foo", elfProgram(kEditLine, kElfI386), 0755);
  EXPECT_EQ(parse(directory_.path("A.bundle"), "Foo").size(), 2u);
}

TEST_F(ElfHeader, IsOfNoConcernToFilesWithoutOne) {
  ::setenv("TESKER_HOST_CPU", "abacus", 1); // which would be logged, if anyone asked for it
  CountingOperatingSystem system;
  const ScopedOperatingSystem scoped(system);
  for (const ElfMachine &machine : kElfFormats) {
    ElfBuilder elf(machine);
    elf.noteSegment(elf.note(std::string_view("GNU", 4), 1, "abi")).namedSection(".text", "code");
    EXPECT_THAT(recordsOf(elf.bytes()), IsEmpty());
    EXPECT_EQ(TKIsProperExecutable(directory_.string(), "Foo"_ns), Suitability::suitable);
    EXPECT_EQ(getArchNames(directory_.string("Foo")), ""_ns);
  }
  EXPECT_THAT(log_.syslogged, IsEmpty());
  EXPECT_EQ(system.count("machineName"), 0u);
}

} // namespace
} // namespace tesker::test
