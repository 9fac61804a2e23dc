// ELF files that lie, and what they may cost.
#include "platform/images/ElfFile.h"
#include "tests/images/ElfTest.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/SparseImage.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

constexpr auto kHeader = DescriptionNote::header;

std::string rich(const ElfMachine &machine) {
  ElfBuilder elf(machine);
  elf.noteSegment(elf.ourNote(kHeader, "text"))
      .noteSection(elf.ourNote(DescriptionNote::services, "yes"))
      .namedSection("__ICON.__request", "please");
  return elf.bytes();
}

TEST(ElfBounds, AFileThatIsCutAnywhereGivesNothingThatIsNotInIt) {
  for (const ElfMachine &machine : kElfFormats) {
    const std::string bytes = rich(machine);
    EXPECT_EQ(described(bytes), "header=text request=please");
    for (std::size_t size = 0; size < bytes.size(); ++size)
      EXPECT_EQ(described(bytes.substr(0, size)).find("(outside)"), std::string::npos) << size;
  }
}

TEST(ElfBounds, AFileThatHasBecomeShorterIsReadAsFarAsItGoes) {
  const std::string bytes = rich(kElfX86_64);
  for (std::size_t left = 0; left < bytes.size(); left += 3) {
    ShrunkImage image(bytes, left);
    EXPECT_EQ(described(image).find("(outside)"), std::string::npos) << left;
  }
}

TEST(ElfBounds, EveryByteMayBeWrong) {
  for (const ElfMachine &machine : kElfFormats) {
    const std::string bytes = rich(machine);
    for (std::size_t place = 0; place < bytes.size(); ++place)
      for (const int value : {0x00, 0x7f, 0xff}) {
        std::string wrong = bytes;
        wrong[place] = static_cast<char>(value);
        EXPECT_EQ(described(wrong).find("(outside)"), std::string::npos) << place;
      }
  }
}

TEST(ElfBounds, OffsetsAtTheEndOfAllNumbersLeadNowhere) {
  for (const std::uint64_t offset : {~std::uint64_t{0}, ~std::uint64_t{0} - 63,
                                     std::uint64_t{1} << 63, std::uint64_t{1} << 32}) {
    ElfBuilder elf;
    elf.noteSegment(elf.ourNote(kHeader, "text")).namedSection("__ICON.__header", "other");
    elf.finish().segments[0].p_offset = offset;
    elf.segments[0].p_filesz = offset;
    elf.sections[1].sh_offset = offset;
    elf.sections[2].sh_size = offset; // of the names
    EXPECT_EQ(described(elf.bytes()), "") << offset;
    elf.header.e_shoff = offset;
    EXPECT_EQ(described(elf.bytes()), "") << offset;
    elf.header.e_phoff = offset;
    EXPECT_EQ(described(elf.bytes()), "") << offset;
  }
}

TEST(ElfBounds, NumbersTooLargeForTheHeaderStandInTheFirstSection) {
  ElfBuilder elf;
  elf.noteSegment(elf.ourNote(kHeader, "text")).namedSection("__ICON.__services", "yes").finish();
  elf.sections[0].sh_info = elf.header.e_phnum;
  elf.sections[0].sh_size = elf.header.e_shnum;
  elf.sections[0].sh_link = elf.header.e_shstrndx;
  elf.header.e_phnum = PN_XNUM;
  elf.header.e_shnum = 0;
  elf.header.e_shstrndx = SHN_XINDEX;
  EXPECT_EQ(described(elf.bytes()), "header=text services=yes");
  elf.sections[0].sh_link = 1000;
  EXPECT_EQ(described(elf.bytes()), "header=text");
  elf.sections[0].sh_size = 0;
  elf.sections[0].sh_info = 0;
  EXPECT_EQ(described(elf.bytes()), "");
}

TEST(ElfBounds, CountsThatTheFileHasNoRoomForAreCutToIt) {
  ElfBuilder elf;
  elf.noteSegment(elf.ourNote(kHeader, "text")).namedSection("__ICON.__services", "yes").finish();
  elf.sections[0].sh_size = ~std::uint64_t{0};
  elf.header.e_shnum = 0;
  elf.header.e_phnum = 60000;
  EXPECT_EQ(described(elf.bytes()), "header=text services=yes");
}

TEST(ElfBounds, TablesWithRowsOfAnotherSizeAreNotRead) {
  ElfBuilder elf;
  elf.noteSegment(elf.ourNote(kHeader, "text")).namedSection("__ICON.__services", "yes").finish();
  ++elf.header.e_phentsize;
  EXPECT_EQ(described(elf.bytes()), "services=yes");
  --elf.header.e_shentsize;
  EXPECT_EQ(described(elf.bytes()), "");
}

// An image of many gigabytes that announces as many rows or notes as it has room for.
SparseImage endless(ElfBuilder &elf) {
  return SparseImage(std::uint64_t{1} << 40).write(0, elf.bytes());
}

TEST(ElfBounds, ABillionSectionsAreReadUpToABound) {
  ElfBuilder elf;
  elf.namedSection("__ICON.__header", "text").finish();
  elf.sections[0].sh_size = 1'000'000'000;
  elf.header.e_shnum = 0;
  SparseImage image = endless(elf);
  EXPECT_EQ(described(image), "header=text");
  EXPECT_LE(image.reads, 2 * kMostElfRows + 100);
}

TEST(ElfBounds, ABillionNotesAreReadUpToABound) {
  ElfBuilder elf;
  elf.noteSegment(elf.note(std::string_view("GNU", 4), 3, "x")).finish();
  elf.segments[0].p_filesz = std::uint64_t{1} << 36;
  for (int i = 0; i < 10; ++i)
    elf.segments.push_back(elf.segments[0]);
  elf.header.e_phnum = 11;
  SparseImage image = endless(elf);
  EXPECT_EQ(described(image), "");
  EXPECT_LE(image.reads, kMostElfNotes + 100);
}

TEST(ElfBounds, ATextIsNoLongerThanOneOfAMachOFile) {
  ElfBuilder elf;
  elf.namedSection("__ICON.__header", "text").sections[1].sh_size = std::uint64_t{1} << 39;
  SparseImage image = endless(elf);
  EXPECT_EQ(elfDescriptionOf(image)->header->size, kLongestElfText);
}

class ElfReads : public ::testing::Test {
protected:
  std::size_t readsOf(const std::string &path) {
    CountingOperatingSystem system;
    const ScopedOperatingSystem scoped(system);
    auto image = openImage(path);
    EXPECT_TRUE(image && elfDescriptionOf(*image));
    return system.count("readAt");
  }
  const TemporaryDirectory directory_;
};

TEST_F(ElfReads, AnOrdinaryProgramTakesOneMore) {
  EXPECT_EQ(readsOf("/bin/true"), 2u);
  ElfBuilder elf;
  elf.noteSegment(elf.note(std::string_view("GNU", 4), 3, "build id"))
      .section(".text", SHT_PROGBITS, SHF_ALLOC, std::string(100'000, 'x'));
  EXPECT_EQ(readsOf(directory_.writeFile("program", elf.bytes())), 2u);
  EXPECT_EQ(readsOf(directory_.writeFile("stripped", elf.bytes().substr(0, 50'000))), 1u);
}

TEST_F(ElfReads, AProgramWhoseTablesBeginAmongTheFirstBytesTakesNoMoreThanOne) {
  for (std::size_t size = 0; size < 10'000; size += 100) {
    ElfBuilder elf;
    elf.noteSegment(elf.note(std::string_view("GNU", 4), 3, "build id"))
        .section(".text", SHT_PROGBITS, SHF_ALLOC, std::string(size, 'x'));
    for (int i = 0; i < 40; ++i)
      elf.section(".data", SHT_PROGBITS, SHF_ALLOC, "");
    EXPECT_LE(readsOf(directory_.writeFile("program", elf.bytes())), 2u) << size;
  }
}

TEST_F(ElfReads, ASmallProgramTakesNone) {
  EXPECT_EQ(readsOf(directory_.writeFile("small", rich(kElfX86_64))), 1u);
}

} // namespace
} // namespace tesker::test
