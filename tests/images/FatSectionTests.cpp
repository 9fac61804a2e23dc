// Which image of a fat file the sections are taken from.
#include "tests/support/MachOBuilder.h"
#include "tests/support/SparseImage.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

constexpr std::size_t kFirstImage = 4096;
constexpr std::size_t kSecondImage = 8192;

std::size_t recordField(std::size_t index, std::size_t field) {
  return at::kFirstRecord + kFatRecord * index + field;
}

std::string littleEndian(std::size_t word) {
  std::string bytes;
  examples::appendWord(bytes, static_cast<std::uint32_t>(word), ByteOrder::kLittle);
  return bytes;
}

FatMember member(const Processor &processor, std::string_view header) {
  return {processor, iconImage(processor, header).bytes()};
}

class FatSections : public ::testing::Test {
protected:
  ScopedHostCpu host_{"i386"};
};

TEST_F(FatSections, ComeFromTheImageForThisMachine) {
  EXPECT_EQ(sectionText(fatFile({member(kPowerPC, "ppc"), member(kI386, "i386")})), "i386");
  const ScopedHostCpu other("ppc");
  EXPECT_EQ(sectionText(fatFile({member(kI386, "i386"), member(kPowerPC, "ppc")})), "ppc");
}

TEST_F(FatSections, ComeFromTheExactSubtypeElseTheFirstOfTheType) {
  constexpr Processor k486{7, 4, ByteOrder::kLittle};
  constexpr Processor k586{7, 5, ByteOrder::kLittle};
  EXPECT_EQ(sectionText(fatFile({member(k486, "486"), member(kI386, "386")})), "386");
  EXPECT_EQ(sectionText(fatFile({member(k486, "486"), member(k586, "586")})), "486");
}

TEST_F(FatSections, ComeFromTheFirstImageWhereNoneIsForThisMachine) {
  EXPECT_EQ(sectionText(fatFile({member(kPowerPC, "ppc"), member(kM68k, "m68k")})), "ppc");
}

TEST_F(FatSections, PassOverRecordsWithoutAnImageWhereNoneIsForThisMachine) {
  const std::string good = iconImage(kM68k, "m68k").bytes();
  EXPECT_EQ(sectionText(fatFile({{kPowerPC, "no Mach-O image, but long enough for one"},
                                 {kSparc, ""},
                                 {kSparc, good.substr(0, 27)},
                                 {kM68k, good}})),
            "m68k");
  EXPECT_EQ(sectionText(MachOBuilder({member(kPowerPC, "ppc"), member(kM68k, "m68k")})
                            .word(recordField(0, at::kRecordSize), 0xffffffff)
                            .bytes()),
            "m68k");
  EXPECT_EQ(sectionText(fatFile({{kPowerPC, "text"}})), "(none)");
}

TEST_F(FatSections, TakeTheFirstImageEvenWithoutTheSection) {
  const std::string without = MachOBuilder(kPowerPC).section("__TEXT", "__text", "code").bytes();
  EXPECT_EQ(sectionText(fatFile({{kPowerPC, without}, member(kM68k, "m68k")})), "(none)");
}

TEST_F(FatSections, DoNotExistWhereTheChosenImageLeavesTheFile) {
  const auto both = [] { return MachOBuilder({member(kPowerPC, "ppc"), member(kI386, "i386")}); };
  EXPECT_EQ(sectionText(both().word(recordField(1, at::kRecordOffset), 0xfffffff0).bytes()),
            "(none)");
  EXPECT_EQ(sectionText(both().word(recordField(1, at::kRecordSize), 0xffffffff).bytes()),
            "(none)");
  EXPECT_EQ(sectionText(both().resize(both().bytes().size() - 1).bytes()), "(none)");
}

TEST_F(FatSections, DoNotExistWhereTheChosenImageIsNone) {
  EXPECT_EQ(sectionText(fatFile({member(kPowerPC, "ppc"), {kI386, "text"}})), "(none)");
  const std::string good = iconImage(kI386, "i386").bytes();
  EXPECT_EQ(sectionText(fatFile({member(kPowerPC, "ppc"), {kI386, good.substr(0, 27)}})), "(none)");
}

TEST_F(FatSections, StayInsideTheirImage) {
  // The section would end inside the file, but one byte behind the image.
  const auto size = static_cast<std::uint32_t>(iconImage(kI386, "i386").bytes().size());
  EXPECT_EQ(sectionText(MachOBuilder({member(kI386, "i386"), member(kPowerPC, "ppc")})
                            .word(recordField(0, at::kRecordSize), size - 1)
                            .bytes()),
            "(none)");
}

TEST_F(FatSections, StopAtTheImagesLoadCommands) {
  const std::size_t sizeOfCommands = kFirstImage + at::kSizeOfCommands;
  const std::string bytes =
      MachOBuilder({member(kI386, "i386")}).text(sizeOfCommands, std::string(4, '\0')).bytes();
  EXPECT_EQ(sectionText(bytes), "(none)");
}

TEST_F(FatSections, DoNotExistWhereMoreRecordsAreAnnouncedThanThereAre) {
  for (const std::uint32_t wrong : {1000U, 0x0ccccccdU, 0xffffffffU})
    EXPECT_EQ(
        sectionText(MachOBuilder({member(kI386, "i386")}).word(at::kRecordCount, wrong).bytes()),
        "(none)");
  EXPECT_EQ(sectionText(MachOBuilder({member(kI386, "i386")}).word(at::kRecordCount, 0).bytes()),
            "(none)");
}

// A fat file of that many records, all but the last of no processor, and the last one's image
// behind.
SparseImage manyRecords(std::uint32_t count, const std::string &image) {
  const std::string one = fatFile({{kI386, image}});
  const auto place = static_cast<std::uint32_t>(at::kFirstRecord + kFatRecord * count);
  std::string record = one.substr(at::kFirstRecord, kFatRecord);
  std::string offset;
  examples::appendWord(offset, place, ByteOrder::kBig);
  record.replace(at::kRecordOffset, offset.size(), offset);
  std::string header = one.substr(0, at::kRecordCount);
  examples::appendWord(header, count, ByteOrder::kBig);
  SparseImage file(place + image.size());
  file.write(0, header).write(place - kFatRecord, record).write(place, image);
  return file;
}

TEST_F(FatSections, ComeFromNoFileOfMoreThanAMillionRecords) {
  const std::string image = iconImage(kI386, "text").bytes();
  SparseImage most = manyRecords(1'000'000, image);
  EXPECT_EQ(sectionText(most), "text");
  SparseImage tooMany = manyRecords(1'000'001, image);
  EXPECT_EQ(sectionText(tooMany), "(none)");
  EXPECT_EQ(tooMany.reads, 1U);
}

TEST_F(FatSections, WithoutBytesStayInsideTheirImageToo) {
  const std::string image = iconImage(kI386, "").bytes();
  const auto emptyAt = [&](std::size_t offset) {
    return sectionText(
        MachOBuilder({{kI386, image}, member(kPowerPC, "ppc")})
            .text(kFirstImage + at::kFirstCommand + at::kFirstSection + at::kSectionOffset,
                  littleEndian(offset))
            .bytes());
  };
  EXPECT_EQ(emptyAt(image.size()), "");
  EXPECT_EQ(emptyAt(image.size() + 1), "(none)");
}

TEST_F(FatSections, DoNotComeFromAFatFileInsideAFatFile) {
  EXPECT_EQ(sectionText(fatFile({{kI386, fatFile({member(kI386, "i386")})}})), "(none)");
}

TEST_F(FatSections, DoNotComeFromALittleEndianFatHeader) {
  EXPECT_EQ(sectionText(MachOBuilder({member(kI386, "i386")}).word(0, 0xbebafeca).bytes()),
            "(none)");
}

TEST_F(FatSections, MayOverlapEachOther) {
  EXPECT_EQ(sectionText(MachOBuilder({member(kPowerPC, "ppc"), member(kI386, "i386")})
                            .word(recordField(0, at::kRecordOffset), kSecondImage)
                            .bytes()),
            "i386");
}

} // namespace
} // namespace tesker::test
