// Images that another program wrote.
#include "tests/images/OtherPrograms.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

// A description of an executable with the sections __header ("F\tEdit\tEdit\tEdit.tiff\n") and
// __services ("yes") at offset 0x200, as yaml2obj takes it.
std::string imageDescription(bool littleEndian, const char *cpu, const char *subtype) {
  return std::string("--- !mach-o\nIsLittleEndian: ") + (littleEndian ? "true" : "false") + R"(
FileHeader:
  magic:           0xFEEDFACE
  cputype:         )" +
         cpu + R"(
  cpusubtype:      )" +
         subtype + R"(
  filetype:        0x00000002
  ncmds:           2
  sizeofcmds:      216
  flags:           0x00000001
LoadCommands:
  - cmd:             LC_UUID
    cmdsize:         24
    uuid:            01234567-89AB-CDEF-0123-456789ABCDEF
  - cmd:             LC_SEGMENT
    cmdsize:         192
    segname:         __ICON
    vmaddr:          4096
    vmsize:          4096
    fileoff:         512
    filesize:        32
    maxprot:         7
    initprot:        1
    nsects:          2
    flags:           0
    Sections:
      - sectname:        __header
        segname:         __ICON
        addr:            0x1000
        size:            22
        offset:          0x200
        align:           0
        reloff:          0
        nreloc:          0
        flags:           0
        reserved1:       0
        reserved2:       0
        reserved3:       0
        content:         '460945646974094564697409456469742E746966660A'
      - sectname:        __services
        segname:         __ICON
        addr:            0x1018
        size:            3
        offset:          0x218
        align:           0
        reloff:          0
        nreloc:          0
        flags:           0
        reserved1:       0
        reserved2:       0
        reserved3:       0
        content:         '796573'
...
)";
}

class IndependentWriter : public ::testing::Test {
protected:
  std::string made(const char *name, const std::string &description) {
    const std::string source = directory_.writeFile(std::string(name) + ".yaml", description);
    const std::string path = directory_.path(name);
    const Outcome outcome = run(YAML2OBJ " " + quoted(source) + " -o " + quoted(path));
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    return path;
  }
  const TemporaryDirectory directory_;
};

TEST_F(IndependentWriter, LittleEndianImageIsRead) {
  const std::string path = made("i386", imageDescription(true, "0x00000007", "0x00000003"));
  EXPECT_EQ(fileText(path), "F\tEdit\tEdit\tEdit.tiff\n");
  EXPECT_EQ(fileText(path, "__services"), "yes");
  EXPECT_EQ(fileText(path, "__request"), "(none)");
}

TEST_F(IndependentWriter, BigEndianImageIsRead) {
  const std::string path = made("ppc", imageDescription(false, "0x00000012", "0x00000000"));
  EXPECT_EQ(fileText(path), "F\tEdit\tEdit\tEdit.tiff\n");
  EXPECT_EQ(fileText(path, "__services"), "yes");
}

TEST_F(IndependentWriter, FatFileIsRead) {
  std::string other = imageDescription(false, "0x00000012", "0x00000000");
  other.replace(other.find("796573"), 6, "707063"); // "ppc" in place of "yes"
  const std::string little = made("i386", imageDescription(true, "0x00000007", "0x00000003"));
  const std::string big = made("ppc", other);
  const std::string fat = directory_.path("fat");
  const Outcome outcome =
      run(LLVM_LIPO " -create " + quoted(big) + " " + quoted(little) + " -output " + quoted(fat));
  ASSERT_EQ(outcome.status, 0) << outcome.output;
  const auto servicesOn = [&](const char *host) {
    const ScopedHostCpu scoped(host);
    return fileText(fat, "__services");
  };
  EXPECT_EQ(servicesOn("i386"), "yes");
  EXPECT_EQ(servicesOn("ppc"), "ppc");
}

} // namespace
} // namespace tesker::test
