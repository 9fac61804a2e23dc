#include "parsing/ArchitectureCheck.h"

#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tesker::test {
namespace {

constexpr Suitability kFits = Suitability::suitable;
constexpr Suitability kFitsNot = Suitability::notSuitable;
constexpr Suitability kUnknown = Suitability::cannotTell;

Suitability check(const std::string &bytes) {
  MemoryImage image = imageOf(bytes);
  return isSuitableArchitecture(image);
}

NSString names(const std::string &bytes) {
  MemoryImage image = imageOf(bytes);
  return getArchNamesInternal(image);
}

// A header alone.
std::string header(const Processor &processor) { return MachOBuilder(processor).bytes(); }

constexpr Processor k486{7, 4, ByteOrder::kLittle};
constexpr Processor kUnheardOf{99, 1, ByteOrder::kBig};

std::size_t recordField(std::size_t index, std::size_t field) {
  return at::kFirstRecord + kFatRecord * index + field;
}

class ArchitectureCheck : public ::testing::Test {
protected:
  const ScopedHostCpu host_{"i386"};
};

TEST_F(ArchitectureCheck, HasTheDocumentedCodes) {
  EXPECT_EQ(static_cast<unsigned>(kFits), 0U);
  EXPECT_EQ(static_cast<unsigned>(kFitsNot), 1U);
  EXPECT_EQ(static_cast<unsigned>(kUnknown), 2U);
}

TEST_F(ArchitectureCheck, FileOfFewerThanEightBytesIsNotObjectedTo) {
  const std::string fat = fatFile({{kPowerPC, header(kPowerPC)}});
  for (std::size_t size = 0; size < 8; ++size)
    EXPECT_EQ(check(fat.substr(0, size)), kFits) << size;
}

TEST_F(ArchitectureCheck, NothingSuitsAHostWithoutATypeOfItsOwn) {
  const ScopedHostCpu host("riscv64");
  for (const std::int32_t type : {-1, 0, 7}) {
    const Processor processor{type, type, ByteOrder::kLittle};
    EXPECT_EQ(check(header(processor)), kFitsNot) << type;
    EXPECT_EQ(check(fatFile({{processor, header(processor)}})), kFitsNot) << type;
  }
}

TEST_F(ArchitectureCheck, ScriptIsNotObjectedTo) {
  EXPECT_EQ(check("#!/bin/sh\necho hello, this is longer than a header\n"), kFits);
}

TEST_F(ArchitectureCheck, SixtyFourBitImageIsNotObjectedTo) {
  EXPECT_EQ(check(MachOBuilder(kPowerPC).word(0, 0xfeedfacf).bytes()), kFits);
}

TEST_F(ArchitectureCheck, HeaderForAnotherProcessorTypeIsNotSuitable) {
  ASSERT_EQ(header(kArm).size(), 28U);
  EXPECT_EQ(check(header(kArm)), kFitsNot);
  EXPECT_EQ(check(header(kPowerPC)), kFitsNot);
  EXPECT_EQ(check(MachOBuilder(kI386).word(4, 0x01000007).bytes()), kFitsNot);
}

TEST_F(ArchitectureCheck, HeaderForThisProcessorTypeIsSuitableWhateverTheSubtype) {
  for (const std::int32_t subtype : {3, 4, 0, -1, 0x7fffffff})
    EXPECT_EQ(check(header({7, subtype, ByteOrder::kLittle})), kFits) << subtype;
}

TEST_F(ArchitectureCheck, HeaderInTheOtherByteOrderIsUnderstood) {
  EXPECT_EQ(check(header({7, 3, ByteOrder::kBig})), kFits);
  const ScopedHostCpu other("ppc");
  EXPECT_EQ(check(header(kPowerPC)), kFits);
  EXPECT_EQ(check(header(kI386)), kFitsNot);
}

TEST_F(ArchitectureCheck, HeaderOfLessThan28BytesIsNotObjectedTo) {
  EXPECT_EQ(check(header(kArm).substr(0, 27)), kFits);
}

TEST_F(ArchitectureCheck, HeaderIsTurnedIntoHostOrderInPlace) {
  mach_header big{0xcefaedfe, 0x07000000, 0x03000000, 0, 0, 0, 0};
  EXPECT_TRUE(swapHeaderAndCheck(big));
  EXPECT_EQ(big.magic, 0xfeedfaceU);
  EXPECT_EQ(big.cputype, 7);
  mach_header other{0xcafebabe, 7, 3, 0, 0, 0, 0};
  EXPECT_FALSE(swapHeaderAndCheck(other));
}

TEST_F(ArchitectureCheck, FatFileForThisProcessorIsSuitable) {
  EXPECT_EQ(check(fatFile({{kPowerPC, header(kPowerPC)}, {kI386, header(kI386)}})), kFits);
  EXPECT_EQ(check(fatFile({{k486, header(k486)}})), kFits);
}

TEST_F(ArchitectureCheck, FatFileThatAnnouncesMoreRecordsThanItHoldsCannotBeTold) {
  const auto fat = [] { return MachOBuilder({{kI386, header(kI386)}}); };
  for (const std::uint32_t wrong : {1000U, 0x0ccccccdU, 0x7fffffffU, 0xffffffffU}) {
    EXPECT_EQ(check(fat().word(at::kRecordCount, wrong).bytes()), kUnknown);
    EXPECT_FALSE(names(fat().word(at::kRecordCount, wrong).bytes()));
  }
  const std::string records = fat().bytes().substr(0, 8 + kFatRecord);
  EXPECT_EQ(check(records), kFitsNot);
  EXPECT_EQ(check(records.substr(0, records.size() - 1)), kUnknown);
  EXPECT_EQ(names(records), "80x86"_ns);
  EXPECT_FALSE(names(records.substr(0, records.size() - 1)));
}

TEST_F(ArchitectureCheck, FatFileWhoseBestArchitectureLeavesTheFileIsNotSuitable) {
  const auto fat = [] {
    return MachOBuilder({{kPowerPC, header(kPowerPC)}, {kI386, header(kI386)}});
  };
  EXPECT_EQ(check(fat().resize(fat().bytes().size() - 1).bytes()), kFitsNot);
  EXPECT_EQ(check(fat().word(recordField(1, at::kRecordSize), 29).bytes()), kFitsNot);
  EXPECT_EQ(check(fat().word(recordField(1, at::kRecordSize), 0xffffffff).bytes()), kFitsNot);
  EXPECT_EQ(check(fat().word(recordField(1, at::kRecordOffset), 0xffffffff).bytes()), kFitsNot);
}

TEST_F(ArchitectureCheck, FatFileMayHaveOtherArchitecturesThatLeaveTheFile) {
  EXPECT_EQ(check(MachOBuilder({{kPowerPC, header(kPowerPC)}, {kI386, header(kI386)}})
                      .word(recordField(0, at::kRecordSize), 0xffffffff)
                      .bytes()),
            kFits);
}

TEST_F(ArchitectureCheck, FatFileWithoutThisProcessorTypeIsNotSuitable) {
  EXPECT_EQ(check(fatFile({{kPowerPC, header(kI386)}, {kM68k, header(kI386)}})), kFitsNot);
  EXPECT_EQ(check(fatFile({{{0x01000007, 3, ByteOrder::kLittle}, header(kI386)}})), kFitsNot);
  EXPECT_EQ(check(fatFile({})), kFitsNot);
}

TEST_F(ArchitectureCheck, FatFileIsJudgedByTheHeaderOfItsBestArchitecture) {
  EXPECT_EQ(check(fatFile({{kI386, header(kPowerPC)}})), kFitsNot);
  EXPECT_EQ(check(fatFile({{kI386, "no image at all, but long enough for one"}})), kFitsNot);
  EXPECT_EQ(check(fatFile({{k486, header(k486)}, {kI386, header(kPowerPC)}})), kFitsNot);
}

TEST_F(ArchitectureCheck, ImageShorterThanAHeaderCountsAsFollowedByZeros) {
  EXPECT_EQ(check(fatFile({{kI386, header(kI386).substr(0, 8)}})), kFits);
  EXPECT_EQ(check(fatFile({{kI386, header(kI386).substr(0, 4)}})), kFitsNot);
  EXPECT_EQ(check(fatFile({{kI386, ""}})), kFitsNot);
}

TEST_F(ArchitectureCheck, BytesBehindAnImageAreNoPartOfIt) {
  EXPECT_EQ(
      check(
          MachOBuilder({{kI386, header(kI386)}}).word(recordField(0, at::kRecordSize), 4).bytes()),
      kFitsNot);
}

TEST_F(ArchitectureCheck, LittleEndianFatHeaderIsNotRecognised) {
  const auto little = MachOBuilder({{kPowerPC, header(kPowerPC)}}).word(0, 0xbebafeca).bytes();
  EXPECT_EQ(check(little), kFits);
  EXPECT_EQ(names(little), ""_ns);
}

TEST_F(ArchitectureCheck, ImageThatHasBecomeShorterIsDamagedAndNoMore) {
  const std::string thin = header(kI386);
  for (std::size_t left = 0; left < thin.size(); ++left) {
    ShrunkImage image(thin, left);
    EXPECT_EQ(isSuitableArchitecture(image), kUnknown) << left;
    EXPECT_EQ(getArchNamesInternal(image), ""_ns) << left;
  }
  const std::string fat = fatFile({{kI386, header(kI386)}});
  for (std::size_t left = 8; left < fat.size(); ++left) {
    ShrunkImage image(fat, left);
    EXPECT_EQ(isSuitableArchitecture(image), kFitsNot) << left;
  }
}

TEST(ArchitectureCheckState, AsksForTheProcessorAtTheFirstCheckAndKeepsIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process where nothing has asked yet
  EXPECT_EXIT(
      {
        ::setenv("TESKER_HOST_CPU", "sparc", 1);
        const bool first = check(header(kSparc)) == kFits;
        ::setenv("TESKER_HOST_CPU", "m68k", 1);
        const bool kept = check(header(kSparc)) == kFits && check(header(kM68k)) == kFitsNot;
        std::_Exit(first && kept ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        ::setenv("TESKER_HOST_CPU", "sparc", 1);
        std::_Exit(check(fatFile({{kSparc, header(kSparc)}})) == kFits ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

class ArchitectureNames : public ::testing::Test {};

TEST_F(ArchitectureNames, AreListedInFileOrder) {
  EXPECT_EQ(names(fatFile({{kPowerPC, ""}, {kI386, ""}})), "PowerPC, 80x86"_ns);
  EXPECT_EQ(names(fatFile({{k486, ""}, {kM68k, ""}, {kI386, ""}})), "80486, MC68K, 80x86"_ns);
}

TEST_F(ArchitectureNames, LeaveOutUnknownOnes) {
  EXPECT_EQ(names(fatFile({{kUnheardOf, ""}, {kI386, ""}, {kUnheardOf, ""}, {kArm, ""}})),
            "80x86, Arm");
  EXPECT_EQ(names(fatFile({{kUnheardOf, ""}})), ""_ns);
  EXPECT_EQ(names(fatFile({})), ""_ns);
}

TEST_F(ArchitectureNames, AreThoseOfAThinImageInEitherOrder) {
  EXPECT_EQ(names(header(kI386)), "80x86"_ns);
  EXPECT_EQ(names(header(kPowerPC)), "PowerPC"_ns);
  EXPECT_EQ(names(header(kUnheardOf)), ""_ns);
  EXPECT_EQ(names(header(kI386).substr(0, 27)), ""_ns);
}

TEST_F(ArchitectureNames, AreEmptyForOtherFiles) {
  EXPECT_EQ(names(""), ""_ns);
  EXPECT_EQ(names("#!/bin/sh\necho this is longer than any header\n"), ""_ns);
}

// fstat never works.
class NoStatus final : public OperatingSystem {
public:
  int statDescriptor(int, struct stat &) override {
    errno = EIO;
    return -1;
  }
};

class FilesOnDisk : public ArchitectureCheck {
protected:
  Suitability checkFile(std::string_view name) {
    return TKIsProperExecutable(directory_.string(), NSString::create(name));
  }
  NSString namesOf(std::string_view name) { return getArchNames(directory_.string(name)); }
  const TemporaryDirectory directory_;
};

TEST_F(FilesOnDisk, AreChecked) {
  directory_.writeFile("fits", header(kI386));
  directory_.writeFile("fitsNot", header(kPowerPC));
  directory_.writeFile("script", "#!/bin/sh\n");
  directory_.writeFile("seven", "1234567");
  directory_.writeFile("empty", "");
  directory_.makeLink("link", "fitsNot");
  EXPECT_EQ(checkFile("fits"), kFits);
  EXPECT_EQ(checkFile("fitsNot"), kFitsNot);
  EXPECT_EQ(checkFile("script"), kFits);
  EXPECT_EQ(checkFile("seven"), kFits);
  EXPECT_EQ(checkFile("empty"), kFits);
  EXPECT_EQ(checkFile("link"), kFitsNot);
}

TEST_F(FilesOnDisk, MissingOneCannotBeTold) { EXPECT_EQ(checkFile("missing"), kUnknown); }

TEST_F(FilesOnDisk, OneThatIsNoRegularFileCannotBeTold) {
  directory_.makeDirectory("directory");
  makeFifo(directory_.path("fifo"));
  makeSocket(directory_.path("socket"));
  for (const char *name : {"directory", "fifo", "socket"})
    EXPECT_EQ(checkFile(name), kUnknown) << name;
  EXPECT_EQ(TKIsProperExecutable(directory_.string(), nullptr), kUnknown);
}

TEST_F(FilesOnDisk, OneWithoutStatusCannotBeTold) {
  directory_.writeFile("fits", header(kI386));
  NoStatus system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(checkFile("fits"), kUnknown);
}

TEST_F(FilesOnDisk, OneWhosePathIsTooLongForTheBufferCannotBeTold) {
  const std::string deep = std::string(200, 'd') + "/" + std::string(200, 'd') + "/" +
                           std::string(200, 'd') + "/" + std::string(200, 'd') + "/" +
                           std::string(200, 'd');
  directory_.writeFile(deep + "/fits", header(kI386));
  EXPECT_EQ(TKIsProperExecutable(directory_.string(deep), "fits"_ns), kUnknown);
  EXPECT_EQ(namesOf(deep + "/fits"), "80x86"_ns);
}

TEST_F(FilesOnDisk, AreOpenedOnceAndClosed) {
  directory_.writeFile("fat", fatFile({{kI386, header(kI386)}}));
  makeFifo(directory_.path("fifo"));
  const std::size_t before = openDescriptors();
  CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(checkFile("fat"), kFits);
  EXPECT_EQ(checkFile("fifo"), kUnknown);
  EXPECT_EQ(system.count("open"), 2U);
  EXPECT_EQ(system.count("close"), 2U);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FilesOnDisk, OfTenGigabytesOfHolesCostAFewReads) {
  const std::string path = directory_.writeFile("sparse", fatFile({{kI386, header(kI386)}}));
  ASSERT_EQ(::truncate(path.c_str(), 10'000'000'000), 0);
  CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(checkFile("sparse"), kFits);
  EXPECT_LE(system.count("readAt"), 2U);
}

TEST_F(FilesOnDisk, HaveNames) {
  directory_.writeFile("fat", fatFile({{kPowerPC, ""}, {kI386, ""}}));
  directory_.writeFile("torn", fatFile({{kPowerPC, ""}}).substr(0, 20));
  directory_.writeFile("empty", "");
  const std::size_t before = openDescriptors();
  EXPECT_EQ(namesOf("fat"), "PowerPC, 80x86"_ns);
  EXPECT_FALSE(namesOf("torn"));
  EXPECT_EQ(namesOf("empty"), ""_ns);
  EXPECT_EQ(namesOf("missing"), ""_ns);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FilesOnDisk, LeaveTheirDescriptorOpenWhenTheyCannotBeExaminedForNames) {
  directory_.writeFile("file", header(kI386));
  directory_.makeDirectory("directory");
  makeFifo(directory_.path("fifo"));
  const int next = ::dup(STDIN_FILENO);
  ::close(next);
  const std::size_t before = openDescriptors();
  EXPECT_EQ(namesOf("directory"), ""_ns);
  EXPECT_EQ(openDescriptors(), before + 1);
  EXPECT_EQ(namesOf("fifo"), ""_ns);
  EXPECT_EQ(openDescriptors(), before + 2);
  {
    NoStatus system;
    const ScopedOperatingSystem inForce(system);
    EXPECT_EQ(namesOf("file"), ""_ns);
  }
  EXPECT_EQ(openDescriptors(), before + 3);
  for (int descriptor = next; openDescriptors() > before; ++descriptor)
    ::close(descriptor);
}

} // namespace
} // namespace tesker::test
