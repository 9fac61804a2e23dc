// ELF files that another program wrote.
#include "tests/images/ElfTest.h"
#include "tests/images/OtherPrograms.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

class IndependentElf : public ::testing::Test {
protected:
  std::string made(const std::string &description) {
    const std::string source = directory_.writeFile("made.yaml", description);
    const Outcome outcome =
        run(YAML2OBJ " " + quoted(source) + " -o " + quoted(directory_.path("made")));
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    return directory_.path("made");
  }
  static std::string inFile(const std::string &path) {
    auto image = openImage(path);
    return image ? described(*image) : "(no image)";
  }
  const TemporaryDirectory directory_;
};

// As yaml2obj takes it, with the notes as a section and, where wanted, as a segment.
std::string notesDescription(const char *size, const char *order, bool hasSegment) {
  return std::string("--- !ELF\nFileHeader:\n  Class: ") + size + "\n  Data: " + order + R"(
  Type: ET_DYN
  Machine: EM_PPC64
)" +
         (hasSegment ? R"(ProgramHeaders:
  - Type: PT_NOTE
    FirstSec: .note.ours
    LastSec: .note.ours
)"
                     : "") +
         R"(Sections:
  - Name: .note.ours
    Type: SHT_NOTE
    Flags: [ SHF_ALLOC ]
    AddressAlign: 4
    Notes:
      - { Name: GNU, Desc: '0123456789', Type: 0x3 }
      - { Name: Tesker, Desc: '4609450a', Type: 0x1 }
      - { Name: Tesker, Desc: '796573', Type: 0x2 }
)";
}

TEST_F(IndependentElf, NotesOfEverySizeAndOrderAreRead) {
  for (const char *size : {"ELFCLASS32", "ELFCLASS64"})
    for (const char *order : {"ELFDATA2LSB", "ELFDATA2MSB"})
      for (const bool hasSegment : {true, false})
        EXPECT_EQ(inFile(made(notesDescription(size, order, hasSegment))),
                  "header=F\tE\n services=yes")
            << size << order << hasSegment;
}

TEST_F(IndependentElf, NamedSectionsAreRead) {
  EXPECT_EQ(inFile(made(R"(--- !ELF
FileHeader: { Class: ELFCLASS64, Data: ELFDATA2LSB, Type: ET_EXEC, Machine: EM_X86_64 }
Sections:
  - { Name: __ICON.__services, Type: SHT_PROGBITS, Content: '796573' }
  - { Name: __ICON.__header, Type: SHT_PROGBITS, Content: '4609450a' }
)")),
            "header=F\tE\n services=yes");
}

} // namespace
} // namespace tesker::test
