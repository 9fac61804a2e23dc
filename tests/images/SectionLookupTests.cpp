// Where the sections of a thin image are found, and where they are not.
#include "platform/images/MachOImage.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/SparseImage.h"

#include <gtest/gtest.h>

namespace tesker::test {
namespace {

class EitherByteOrder : public ::testing::TestWithParam<Processor> {
protected:
  // An image whose only segment is __ICON, with the one section __header.
  static MachOBuilder icon(std::string_view header = "text") {
    return iconImage(GetParam(), header);
  }
  // One with the segments __TEXT (one section) and __ICON (__header, __services).
  static MachOBuilder two() {
    return MachOBuilder(GetParam())
        .section("__TEXT", "__text", "code")
        .section("__ICON", "__header", "head")
        .section("__ICON", "__services", "serv");
  }
  // Offsets of its second segment command and of that command's sections.
  static constexpr std::size_t kSecond = at::kFirstCommand + at::kFirstSection + kSectionEntry;
  static constexpr std::size_t kHeader = kSecond + at::kFirstSection;
  static constexpr std::size_t kServices = kHeader + kSectionEntry;
  // Offset of the section of icon().
  static constexpr std::size_t kOnly = at::kFirstCommand + at::kFirstSection;
};

INSTANTIATE_TEST_SUITE_P(SectionLookup, EitherByteOrder, ::testing::Values(kI386, kPowerPC),
                         [](const auto &tested) {
                           return tested.param.order == ByteOrder::kBig ? "Big" : "Little";
                         });

TEST_P(EitherByteOrder, FindsSectionsByBothNames) {
  const std::string bytes = two().bytes();
  EXPECT_EQ(sectionText(bytes), "head");
  EXPECT_EQ(sectionText(bytes, "__ICON", "__services"), "serv");
  EXPECT_EQ(sectionText(bytes, "__TEXT", "__text"), "code");
  EXPECT_EQ(sectionText(bytes, "__ICON", "__request"), "(none)");
  EXPECT_EQ(sectionText(bytes, "__TEXT", "__header"), "(none)");
  EXPECT_EQ(sectionText(bytes, "__DATA", "__header"), "(none)");
  EXPECT_EQ(sectionText(bytes, "__ICO", "__header"), "(none)");
  EXPECT_EQ(sectionText(bytes, "", ""), "(none)");
}

TEST_P(EitherByteOrder, TakesAThinImageWhateverItsProcessor) {
  for (const char *host : {"m68k", "ppc", "i386"}) {
    const ScopedHostCpu scoped(host);
    EXPECT_EQ(sectionText(icon().bytes()), "text");
  }
}

TEST_P(EitherByteOrder, FindsAnEmptySection) { EXPECT_EQ(sectionText(icon("").bytes()), ""); }

TEST_P(EitherByteOrder, FindsAnEmptySectionInsideTheImageAndAtItsVeryEndOnly) {
  const auto end = static_cast<std::uint32_t>(icon().bytes().size());
  const auto emptyAt = [](std::uint32_t offset) {
    return sectionText(
        icon().word(kOnly + at::kSectionSize, 0).word(kOnly + at::kSectionOffset, offset).bytes());
  };
  EXPECT_EQ(emptyAt(0), "");
  EXPECT_EQ(emptyAt(end - 1), "");
  EXPECT_EQ(emptyAt(end), "");
  EXPECT_EQ(emptyAt(end + 1), "(none)");
  EXPECT_EQ(emptyAt(0xffffffff), "(none)");
}

TEST_P(EitherByteOrder, ComparesNamesOfSixteenBytes) {
  const std::string bytes =
      MachOBuilder(GetParam()).section("0123456789abcdef", "fedcba9876543210", "text").bytes();
  EXPECT_EQ(sectionText(bytes, "0123456789abcdef", "fedcba9876543210"), "text");
  EXPECT_EQ(sectionText(bytes, "0123456789abcde", "fedcba9876543210"), "(none)");
  EXPECT_EQ(sectionText(bytes, "0123456789abcdef0", "fedcba9876543210"), "(none)");
}

TEST_P(EitherByteOrder, HasNoSectionsInAnImageCutAnywhere) {
  const std::string bytes = two().bytes();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const std::string cut = bytes.substr(0, size);
    EXPECT_EQ(sectionText(cut, "__ICON", "__services"), "(none)") << size;
    const std::string head = sectionText(cut);
    EXPECT_TRUE(head == "head" || head == "(none)") << size;
  }
}

TEST_P(EitherByteOrder, FindsWhatComesBeforeTheBytesThatAreMissing) {
  EXPECT_EQ(sectionText(two().resize(two().bytes().size() - 4).bytes()), "head");
}

TEST_P(EitherByteOrder, HasNoSectionsInOtherFormats) {
  EXPECT_EQ(sectionText(icon().word(0, 0xfeedfacf).bytes()), "(none)"); // 64 bits
  EXPECT_EQ(sectionText(icon().word(0, 0).bytes()), "(none)");
  EXPECT_EQ(sectionText("#!/bin/sh\necho this is longer than any header\n"), "(none)");
}

TEST_P(EitherByteOrder, EndsAtACommandOfAnImpossibleSize) {
  const std::size_t size = at::kFirstCommand + at::kCommandSize;
  for (const std::uint32_t wrong : {0U, 4U, 7U, 10U, 126U, 0x7ffffffcU, 0xfffffffcU, 0xffffffffU})
    EXPECT_EQ(sectionText(two().word(size, wrong).bytes()), "(none)") << wrong;
}

TEST_P(EitherByteOrder, CountsWhatStandsBeforeABadCommand) {
  const std::string bytes =
      MachOBuilder(GetParam())
          .section("__ICON", "__header", "head")
          .section("__TEXT", "__text", "code")
          .word(at::kFirstCommand + at::kFirstSection + kSectionEntry + at::kCommandSize, 0)
          .bytes();
  EXPECT_EQ(sectionText(bytes), "head");
  EXPECT_EQ(sectionText(bytes, "__TEXT", "__text"), "(none)");
}

TEST_P(EitherByteOrder, LooksAtNoMoreCommandsThanAreCounted) {
  EXPECT_EQ(sectionText(two().word(at::kNumberOfCommands, 0).bytes()), "(none)");
  EXPECT_EQ(sectionText(two().word(at::kNumberOfCommands, 1).bytes()), "(none)");
  EXPECT_EQ(sectionText(two().word(at::kNumberOfCommands, 0xffffffff).bytes()), "head");
}

TEST_P(EitherByteOrder, LooksAtNoCommandBeyondTheirAnnouncedSize) {
  const auto sizeOfBoth = static_cast<std::uint32_t>(kServices + kSectionEntry - at::kFirstCommand);
  for (const std::uint32_t wrong : {0U, 7U, 124U, sizeOfBoth - 1})
    EXPECT_EQ(sectionText(two().word(at::kSizeOfCommands, wrong).bytes()), "(none)") << wrong;
  EXPECT_EQ(sectionText(two().word(at::kSizeOfCommands, sizeOfBoth).bytes()), "head");
  EXPECT_EQ(sectionText(two().word(at::kSizeOfCommands, 0xffffffff).bytes()), "head");
}

TEST_P(EitherByteOrder, EndsAtTheImageHoweverManyCommandsAreAnnounced) {
  EXPECT_EQ(sectionText(two()
                            .word(at::kNumberOfCommands, 0xffffffff)
                            .word(at::kSizeOfCommands, 0xffffffff)
                            .bytes(),
                        "__ICON", "__request"),
            "(none)");
}

TEST_P(EitherByteOrder, SkipsASegmentCommandThatIsTooShort) {
  // The first command is split: 52 bytes that call themselves a segment, and the rest of another
  // kind.
  const std::size_t rest = at::kFirstCommand + 52;
  EXPECT_EQ(sectionText(two()
                            .word(at::kFirstCommand + at::kCommandSize, 52)
                            .word(rest, 99)
                            .word(rest + at::kCommandSize, 124 - 52)
                            .word(at::kNumberOfCommands, 3)
                            .bytes()),
            "head");
}

TEST_P(EitherByteOrder, SkipsCommandsOfOtherKinds) {
  EXPECT_EQ(sectionText(two().word(at::kFirstCommand, 25).bytes()), "head");
  EXPECT_EQ(sectionText(two().word(kSecond, 25).bytes()), "(none)");
}

TEST_P(EitherByteOrder, ReadsNoSectionBeyondItsCommand) {
  // The command is cut so that only one of its two sections is inside.
  const auto size = static_cast<std::uint32_t>(at::kFirstSection + kSectionEntry);
  for (const std::uint32_t count : {2U, 0xffffffffU}) {
    const std::string bytes = two()
                                  .word(kSecond + at::kSectionCount, count)
                                  .word(kSecond + at::kCommandSize, size)
                                  .bytes();
    EXPECT_EQ(sectionText(bytes), "head");
    EXPECT_EQ(sectionText(bytes, "__ICON", "__services"), "(none)");
  }
  const std::string cutInside = two().word(kSecond + at::kCommandSize, size - 4).bytes();
  EXPECT_EQ(sectionText(cutInside), "(none)");
}

TEST_P(EitherByteOrder, ReadsNoMoreSectionsThanAreCounted) {
  const std::string bytes = two().word(kSecond + at::kSectionCount, 1).bytes();
  EXPECT_EQ(sectionText(bytes), "head");
  EXPECT_EQ(sectionText(bytes, "__ICON", "__services"), "(none)");
}

TEST_P(EitherByteOrder, HasNoSectionThatLeavesTheImage) {
  const auto end = static_cast<std::uint32_t>(icon().bytes().size());
  const auto with = [&](std::uint32_t offset, std::uint32_t size) {
    return sectionText(icon()
                           .word(kOnly + at::kSectionOffset, offset)
                           .word(kOnly + at::kSectionSize, size)
                           .bytes());
  };
  EXPECT_EQ(with(end - 2, 2), "xt");
  EXPECT_EQ(with(end - 2, 3), "(none)");
  EXPECT_EQ(with(end, 1), "(none)");
  EXPECT_EQ(with(end + 1, 1), "(none)");
  EXPECT_EQ(with(0xffffffff, 0xffffffff), "(none)");
  EXPECT_EQ(with(0xffffffff, 2), "(none)");
  EXPECT_EQ(with(2, 0xffffffff), "(none)");
}

TEST_P(EitherByteOrder, TakesTheFirstOfTwoSectionsOfTheSameName) {
  const auto both = [] {
    return MachOBuilder(GetParam())
        .section("__ICON", "__header", "first")
        .section("__ICON", "__header", "second");
  };
  EXPECT_EQ(sectionText(both().bytes()), "first");
  EXPECT_EQ(sectionText(both().word(kOnly + at::kSectionOffset, 0x7fffffff).bytes()), "(none)");
}

TEST_P(EitherByteOrder, TakesTheFirstOfTwoSegmentsOfTheSameName) {
  const std::string bytes = MachOBuilder(GetParam())
                                .section("__TEXT", "__header", "first")
                                .section("__ICON", "__header", "second")
                                .text(at::kFirstCommand + at::kSegmentName, "__ICON")
                                .text(kOnly + at::kSectionSegment, "__ICON")
                                .bytes();
  EXPECT_EQ(sectionText(bytes), "first");
}

TEST_P(EitherByteOrder, NeedsTheNamesOfTheSegmentAndOfTheSectionsOwnSegment) {
  EXPECT_EQ(sectionText(icon().text(at::kFirstCommand + at::kSegmentName, "__TEXT").bytes()),
            "(none)");
  EXPECT_EQ(sectionText(icon().text(kOnly + at::kSectionSegment, "__TEXT").bytes()), "(none)");
}

TEST_P(EitherByteOrder, TakesAnySegmentOfARelocatableObject) {
  const auto object = [] {
    return icon()
        .word(at::kFileType, 1)
        .text(at::kFirstCommand + at::kSegmentName, std::string(16, '\0'));
  };
  EXPECT_EQ(sectionText(object().bytes()), "text");
  EXPECT_EQ(sectionText(object().text(kOnly + at::kSectionSegment, "__TEXT").bytes()), "(none)");
}

TEST_P(EitherByteOrder, IgnoresWhatKindOfSectionItIs) {
  EXPECT_EQ(sectionText(icon().word(kOnly + at::kSectionFlags, 0xffffffff).bytes()), "text");
}

constexpr std::uint64_t kMostCommands = std::uint64_t{256} << 20;

// A huge image whose second load command, the segment, is at the offset; one of another kind fills
// the place before it. The segment announces that size and as many sections.
SparseImage segmentAt(std::uint64_t offset, std::uint64_t size, std::uint32_t sections) {
  MachOBuilder image = iconImage(kI386, "text");
  image.word(at::kNumberOfCommands, 2)
      .word(at::kSizeOfCommands, 0xfffffffc)
      .word(at::kFirstCommand + at::kCommandSize, static_cast<std::uint32_t>(size))
      .word(at::kFirstCommand + at::kSectionCount, sections);
  const std::string segment =
      image.bytes().substr(at::kFirstCommand, at::kFirstSection + kSectionEntry);
  image.word(at::kFirstCommand, 99)
      .word(at::kFirstCommand + at::kCommandSize,
            static_cast<std::uint32_t>(offset - at::kFirstCommand));
  SparseImage file(std::uint64_t{1} << 33);
  file.write(0, image.bytes()).write(offset, segment);
  return file;
}

// An image that has become shorter than it was, and counts its reads.
class EndedImage final : public ImageSource {
public:
  EndedImage(ImageSource &whole, std::uint64_t left) : whole_(whole), left_(left) {}
  std::uint64_t size() const override { return whole_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
    ++reads;
    return offset + buffer.size() <= left_ ? whole_.read(offset, buffer) : 0;
  }
  std::size_t reads = 0;

private:
  ImageSource &whole_;
  std::uint64_t left_;
};

TEST(SectionLookup, ReadsNoMoreThan256MebibytesOfLoadCommands) {
  // The last of them is a segment that announces as many sections as 32 bits can count.
  const std::uint64_t room = 100 * kSectionEntry;
  SparseImage within = segmentAt(kMostCommands - room, room, 0xffffffff);
  EXPECT_FALSE(findSection(within, {0, within.size()}, "__ICON", "__other"));
  EXPECT_GT(within.reads, 99U);
  EXPECT_LE(within.reads, 104U);
  SparseImage beyond = segmentAt(kMostCommands - room, room + 4, 0xffffffff);
  EXPECT_FALSE(findSection(beyond, {0, beyond.size()}, "__ICON", "__other"));
  EXPECT_LE(beyond.reads, 4U);
}

TEST(SectionLookup, FourBillionAnnouncedSectionsCostNoMoreReadsThanThereIsRoomFor) {
  const std::uint64_t room = at::kFirstSection + 2 * kSectionEntry;
  SparseImage image = segmentAt(1000, room, 0xffffffff);
  EXPECT_FALSE(findSection(image, {0, image.size()}, "__ICON", "__other"));
  EXPECT_EQ(image.reads, 1U + 2 + 1 + 2); // the header, two commands, the segment, two sections
  // In a file that has become shorter the first section that is missing ends it.
  const std::string shrunk = iconImage(kI386, "text")
                                 .word(at::kSizeOfCommands, 0xfffffffc)
                                 .word(at::kFirstCommand + at::kCommandSize, 0x0ffff000)
                                 .word(at::kFirstCommand + at::kSectionCount, 0xffffffff)
                                 .bytes();
  SparseImage file(std::uint64_t{1} << 33);
  file.write(0, shrunk);
  EndedImage ended(file, 200);
  EXPECT_FALSE(findSection(ended, {0, ended.size()}, "__ICON", "__other"));
  EXPECT_LE(ended.reads, 6U);
}

TEST(SectionLookup, FindsASectionInTheLastOfThoseLoadCommandsAndNoneBehind) {
  const std::size_t size = at::kFirstSection + kSectionEntry;
  const auto found = [&](std::uint64_t offset) {
    SparseImage image = segmentAt(offset, size, 1);
    return findSection(image, {0, image.size()}, "__ICON", "__header").has_value();
  };
  EXPECT_TRUE(found(kMostCommands - size));
  EXPECT_FALSE(found(kMostCommands - size + 4));
}

} // namespace
} // namespace tesker::test
