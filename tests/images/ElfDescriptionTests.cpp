#include "platform/images/ElfDescription.h"

#include "tests/images/ElfTest.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

constexpr auto kHeaderNote = DescriptionNote::header;
constexpr auto kServices = DescriptionNote::services;
constexpr auto kRequest = DescriptionNote::request;

TEST(ElfDescription, IsReadFromNotesOfEveryFormat) {
  for (const ElfMachine &machine : kElfFormats) {
    ElfBuilder elf(machine);
    const std::string other = elf.note(std::string_view("GNU", 4), 3, "build id");
    elf.noteSegment(other).noteSegment(other + elf.ourNote(kServices, "yes") +
                                       elf.ourNote(kRequest, "") +
                                       elf.ourNote(kHeaderNote, "F\tEdit"));
    const std::string bytes = elf.bytes();
    EXPECT_EQ(described(bytes), "header=F\tEdit services=yes request=") << machine.number;
    MemoryImage image = imageOf(bytes);
    EXPECT_EQ(elfDescriptionOf(image)->machine, machine);
  }
}

TEST(ElfDescription, IsReadFromAllocatedNoteSectionsOfEveryFormat) {
  for (const ElfMachine &machine : kElfFormats) {
    ElfBuilder elf(machine);
    elf.section(".text", SHT_PROGBITS, SHF_ALLOC, "code")
        .noteSection(elf.ourNote(kHeaderNote, "not loaded"), 0)
        .noteSection(elf.ourNote(kHeaderNote, "loaded"));
    EXPECT_EQ(described(elf.bytes()), "header=loaded") << machine.number;
  }
}

TEST(ElfDescription, IsReadFromNamedSectionsOfEveryFormat) {
  for (const ElfMachine &machine : kElfFormats) {
    ElfBuilder elf(machine);
    elf.section(".text", SHT_PROGBITS, SHF_ALLOC, "code")
        .namedSection("__ICON.__services", "yes")
        .namedSection("__ICON.__header", "F\tEdit")
        .namedSection("__ICON.__header2", "no")
        .namedSection("__ICON.__head", "no")
        .namedSection("__ICON.__request", "");
    EXPECT_EQ(described(elf.bytes()), "header=F\tEdit services=yes request=") << machine.number;
  }
}

TEST(ElfDescription, IsNothingInOtherFiles) {
  EXPECT_EQ(described(""), "(not ELF)");
  EXPECT_EQ(described("\x7f"
                      "ELF"),
            "(not ELF)");
  EXPECT_EQ(described("#!/bin/sh\nexit 0\n"), "(not ELF)");
  const std::string whole = ElfBuilder().bytes();
  EXPECT_EQ(described(whole), "");
  EXPECT_EQ(described(whole.substr(0, sizeof(Elf64_Ehdr) - 1)), "(not ELF)");
  for (const auto &[place, value] :
       {std::pair(EI_CLASS, 0), {EI_CLASS, 3}, {EI_DATA, 0}, {EI_DATA, 3}}) {
    std::string bytes = whole;
    bytes[static_cast<std::size_t>(place)] = static_cast<char>(value);
    EXPECT_EQ(described(bytes), "(not ELF)") << place << " " << value;
  }
}

TEST(ElfDescription, TakesWhatStandsThereFirst) {
  ElfBuilder elf;
  elf.noteSegment(elf.ourNote(kHeaderNote, "one") + elf.ourNote(kHeaderNote, "two"))
      .noteSegment(elf.ourNote(kHeaderNote, "three"))
      .namedSection("__ICON.__header", "four")
      .namedSection("__ICON.__services", "five")
      .namedSection("__ICON.__services", "six");
  EXPECT_EQ(described(elf.bytes()), "header=one services=five");
}

TEST(ElfDescription, PrefersNotesOfSectionsToNamedOnes) {
  ElfBuilder elf;
  elf.namedSection("__ICON.__header", "named").noteSection(elf.ourNote(kHeaderNote, "note"));
  EXPECT_EQ(described(elf.bytes()), "header=note");
}

TEST(ElfDescription, AsksSectionsForNotesOnlyWhereNoSegmentHasAny) {
  ElfBuilder elf;
  elf.noteSegment(elf.note(std::string_view("GNU", 4), 3, "build id"))
      .noteSection(elf.ourNote(kHeaderNote, "never loaded"))
      .namedSection("__ICON.__header", "named");
  EXPECT_EQ(described(elf.bytes()), "header=named");
}

TEST(ElfDescription, PassesOverOtherOwnersAndTypes) {
  ElfBuilder elf;
  const auto notes = elf.note(std::string_view("Tesked", 7), 1, "other") +
                     elf.note(std::string_view("Teske", 6), 1, "other") +
                     elf.note(std::string_view("Tesker\0", 8), 1, "other") +
                     elf.note(std::string_view("NetBSD", 7), 1, "other") +
                     elf.ourNote(DescriptionNote{0}, "other") +
                     elf.ourNote(DescriptionNote{4}, "other") +
                     elf.ourNote(DescriptionNote{0xffffffff}, "other") + elf.note("", 1, "");
  EXPECT_EQ(described(elf.noteSegment(notes + elf.ourNote(kHeaderNote, "ours")).bytes()),
            "header=ours");
}

TEST(ElfDescription, TakesAnOwnerWithoutItsNUL) {
  ElfBuilder elf;
  elf.noteSegment(elf.note("Tesker", 1, "text"));
  EXPECT_EQ(described(elf.bytes()), "header=text");
}

TEST(ElfDescription, TakesNotesThatArePaddedToEightBytes) {
  for (const std::uint64_t align : {0u, 1u, 2u, 4u, 16u}) {
    ElfBuilder elf;
    elf.noteSegment(elf.ourNote(kServices, "odd") + elf.ourNote(kHeaderNote, "text"), align);
    EXPECT_EQ(described(elf.bytes()), "header=text services=odd") << align;
  }
  ElfBuilder elf;
  elf.noteSegment(elf.ourNote(kServices, "odd", 8) + elf.ourNote(kHeaderNote, "text", 8), 8);
  EXPECT_EQ(described(elf.bytes()), "header=text services=odd");
}

TEST(ElfDescription, TakesNotesThatArePaddedToFourBytesBehindOthersPaddedToEight) {
  ElfBuilder elf;
  elf.noteSegment(elf.note(std::string_view("GNU", 4), 5, "property") +
                      elf.note(std::string_view("GNU", 4), 3, "twenty bytes of this") +
                      elf.ourNote(kHeaderNote, "text"),
                  8);
  EXPECT_EQ(described(elf.bytes()), "header=text");
}

TEST(ElfDescription, DoesNotAskForThePaddingOfTheLastNote) {
  for (const std::size_t less : {0u, 1u, 3u}) {
    ElfBuilder elf;
    std::string notes = elf.ourNote(kHeaderNote, "x");
    notes.resize(notes.size() - less);
    EXPECT_EQ(described(elf.noteSegment(notes).bytes()), "header=x");
  }
}

TEST(ElfDescription, TellsOfANoteThatLeavesItsSegment) {
  ElfBuilder elf;
  std::string notes = elf.ourNote(kServices, "yes") + elf.ourNote(kHeaderNote, "long text");
  elf.noteSegment(notes.substr(0, notes.size() - 4)); // and the padding is 3
  const std::string bytes = elf.bytes();
  EXPECT_EQ(described(bytes), "services=yes");
  MemoryImage image = imageOf(bytes);
  const ImageDamage damage = elfDescriptionOf(image)->damage;
  EXPECT_STREQ(damage.what, "a note leaves its segment or section");
  EXPECT_EQ(damage.offset, elf.segments[0].p_offset + 24);
}

TEST(ElfDescription, TellsOfASectionThatLeavesTheFile) {
  for (const std::uint64_t size : {std::uint64_t{1} << 20, ~std::uint64_t{0}}) {
    ElfBuilder elf;
    elf.namedSection("__ICON.__header", "text").sections[1].sh_size = size;
    const std::string bytes = elf.bytes();
    EXPECT_EQ(described(bytes), "");
    MemoryImage image = imageOf(bytes);
    EXPECT_STREQ(elfDescriptionOf(image)->damage.what, "a section leaves the image");
  }
}

TEST(ElfDescription, HasNothingToSayOfDamageElsewhere) {
  ElfBuilder elf;
  elf.noteSegment(elf.note(std::string_view("GNU", 4), 3, "build id").substr(0, 20))
      .section(".text", SHT_PROGBITS, SHF_ALLOC, "code");
  elf.sections[1].sh_offset = ~std::uint64_t{0};
  const std::string bytes = elf.bytes();
  MemoryImage image = imageOf(bytes);
  EXPECT_EQ(elfDescriptionOf(image)->damage.what, nullptr);
}

TEST(ElfDescription, IsNotInSectionsWithoutBytesOfTheirOwn) {
  ElfBuilder elf;
  elf.section("__ICON.__header", SHT_NOBITS, 0, "stale")
      .section("__ICON.__header", SHT_PROGBITS, SHF_COMPRESSED, "packed")
      .section("__ICON.__header", SHT_NULL, 0, "stale");
  EXPECT_EQ(described(elf.bytes()), "");
}

} // namespace
} // namespace tesker::test
