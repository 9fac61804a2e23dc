#include "platform/images/FatArch.h"
#include "platform/images/MachO.h"
#include "tests/support/MachOBuilder.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

// A fat file of records without images; each is told apart by its offset, which is its index.
std::string records(const std::vector<Processor> &processors) {
  std::string bytes;
  for (const std::uint32_t word : {0xcafebabeU, static_cast<std::uint32_t>(processors.size())})
    examples::appendWord(bytes, word, ByteOrder::kBig);
  std::uint32_t index = 0;
  for (const Processor &processor : processors)
    for (const std::uint32_t word :
         {static_cast<std::uint32_t>(processor.type), static_cast<std::uint32_t>(processor.subtype),
          index++, 0U, 0U})
      examples::appendWord(bytes, word, ByteOrder::kBig);
  return bytes;
}

// The index of the record that is best for the processor, -1 for none.
int best(const std::vector<Processor> &processors, cpu_type_t type, cpu_subtype_t subtype) {
  const std::string bytes = records(processors);
  MemoryImage image = imageOf(bytes);
  const auto header = fatHeaderOf(image);
  const auto record = QXFindBestFatArch(type, subtype, FatArchReader(image, header.value()));
  return record ? static_cast<int>(record->offset) : -1;
}

constexpr Processor cpu(std::int32_t type, std::int32_t subtype) {
  return {type, subtype, ByteOrder::kBig};
}

TEST(ByteOrder, ReversesEveryWordAndLeavesNamesAlone) {
  mach_header header{0x01020304, 5, 6, 7, 8, 9, 0x0a0b0c0d};
  swap_mach_header(header);
  EXPECT_EQ(header.magic, 0x04030201U);
  EXPECT_EQ(header.cputype, 0x05000000);
  EXPECT_EQ(header.ncmds, 0x08000000U);
  EXPECT_EQ(header.flags, 0x0d0c0b0aU);

  segment_command segment{1, 2, {'a', 'b', 'c'}, 3, 4, 5, 6, 7, 8, 9, 10};
  swap_segment_command(segment);
  EXPECT_EQ(segment.cmdsize, 0x02000000U);
  EXPECT_EQ(segment.segname, (MachOName{'a', 'b', 'c'}));
  EXPECT_EQ(segment.vmaddr, 0x03000000U);
  EXPECT_EQ(segment.flags, 0x0a000000U);

  section_entry entry{{'n'}, {'s'}, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  swap_section_entry(entry);
  EXPECT_EQ(entry.sectname, MachOName{'n'});
  EXPECT_EQ(entry.segname, MachOName{'s'});
  EXPECT_EQ(entry.addr, 0x01000000U);
  EXPECT_EQ(entry.reserved2, 0x09000000U);

  fat_header fat{1, 2};
  swap_fat_header(fat);
  EXPECT_EQ(fat.nfat_arch, 0x02000000U);
  fat_arch record{1, 2, 3, 4, 5};
  swap_fat_arch(record);
  EXPECT_EQ(record.cpusubtype, 0x02000000);
  EXPECT_EQ(record.align, 0x05000000U);
  load_command command{1, 2};
  swap_load_command(command);
  EXPECT_EQ(command.cmdsize, 0x02000000U);
}

TEST(FatHeader, IsBigEndianOnEveryMachine) {
  const std::string big = records({kI386});
  MemoryImage image = imageOf(big);
  EXPECT_EQ(fatHeaderOf(image).value().nfat_arch, 1U);

  const std::string little("\xbe\xba\xfe\xca\1\0\0\0", 8);
  MemoryImage swapped = imageOf(little);
  EXPECT_FALSE(fatHeaderOf(swapped));
}

TEST(FatHeader, NeedsEightBytes) {
  std::string bytes = records({});
  MemoryImage whole = imageOf(bytes);
  EXPECT_TRUE(fatHeaderOf(whole));
  bytes.resize(7);
  MemoryImage cut = imageOf(bytes);
  EXPECT_FALSE(fatHeaderOf(cut));
}

TEST(FatHeader, IsComparedWithTheLengthExactly) {
  std::string bytes = records({kI386, kArm});
  MemoryImage whole = imageOf(bytes);
  EXPECT_TRUE(holdsAllRecords(whole, {FAT_MAGIC, 2}));
  EXPECT_FALSE(holdsAllRecords(whole, {FAT_MAGIC, 3}));
  // 20 times this is 16 more than 2^32.
  EXPECT_FALSE(holdsAllRecords(whole, {FAT_MAGIC, 0x0ccccccd + 1}));
  EXPECT_FALSE(holdsAllRecords(whole, {FAT_MAGIC, 0xffffffff}));
  bytes.pop_back();
  MemoryImage cut = imageOf(bytes);
  EXPECT_FALSE(holdsAllRecords(cut, {FAT_MAGIC, 2}));
}

TEST(FatHeader, AnnouncesNoMoreThanTheLimitHoweverLongTheFile) {
  struct LongImage final : ImageSource {
    std::uint64_t size() const override { return std::uint64_t{1} << 40; }
    std::size_t read(std::uint64_t, std::span<std::byte>) override { return 0; }
  } image;
  EXPECT_TRUE(holdsAllRecords(image, {FAT_MAGIC, kMostFatRecords}));
  EXPECT_FALSE(holdsAllRecords(image, {FAT_MAGIC, kMostFatRecords + 1}));
}

TEST(FatRecord, IsComparedWithTheLengthWithoutWrapping) {
  const std::string bytes(100, '\0');
  const MemoryImage image = imageOf(bytes);
  EXPECT_TRUE(holdsImageOf(image, {0, 0, 60, 40, 0}));
  EXPECT_FALSE(holdsImageOf(image, {0, 0, 60, 41, 0}));
  EXPECT_FALSE(holdsImageOf(image, {0, 0, 0xffffffff, 2, 0}));
  EXPECT_FALSE(holdsImageOf(image, {0, 0, 2, 0xffffffff, 0}));
}

TEST(QXFindBestFatArch, PrefersTheExactSubtype) {
  EXPECT_EQ(best({cpu(18, 0), cpu(7, 4), cpu(7, 3), cpu(7, 3)}, 7, 3), 2);
}

TEST(QXFindBestFatArch, TakesTheFirstOfTheTypeOtherwise) {
  EXPECT_EQ(best({cpu(18, 3), cpu(7, 4), cpu(7, 5)}, 7, 3), 1);
}

TEST(QXFindBestFatArch, FindsNothingOfAnotherType) {
  EXPECT_EQ(best({cpu(18, 3), cpu(0x01000007, 3), cpu(6, 3)}, 7, 3), -1);
  EXPECT_EQ(best({}, 7, 3), -1);
}

TEST(QXFindBestFatArch, LooksAtEveryRecordOfAnyNumber) {
  for (const std::size_t count : {199U, 200U, 201U, 400U, 401U, 5000U}) {
    std::vector<Processor> processors(count, kPowerPC);
    processors.back() = kI386;
    EXPECT_EQ(best(processors, 7, 3), static_cast<int>(count) - 1);
  }
}

TEST(QXFindBestFatArch, ReadsAMillionRecords) {
  std::vector<Processor> processors(1000000, kPowerPC);
  processors.back() = kI386;
  EXPECT_EQ(best(processors, 7, 3), 999999);
}

TEST(FatArchReader, EndsWhereTheFileHasBecomeShorter) {
  const std::string bytes = records({kI386, kArm});
  MemoryImage image = imageOf(bytes);
  FatArchReader reader(image, {FAT_MAGIC, 0xffffffff});
  EXPECT_FALSE(reader.next());
  EXPECT_FALSE(reader.next());
}

TEST(BestFatArch, ChoosesForThisMachine) {
  const std::string bytes = records({kSparc, kI386, kM68k});
  MemoryImage image = imageOf(bytes);
  const FatArchReader reader(image, {FAT_MAGIC, 3});
  {
    const ScopedHostCpu host("m68k");
    EXPECT_EQ(bestFatArch(reader).value().offset, 2U);
  }
  {
    const ScopedHostCpu host("m68040");
    EXPECT_EQ(bestFatArch(reader).value().offset, 2U);
  }
  const ScopedHostCpu host("hppa");
  EXPECT_FALSE(bestFatArch(reader));
}

TEST(ArchInfo, DescribesKnownTypesAndSubtypes) {
  EXPECT_EQ(QXGetArchInfoFromCpuType(7, 3)->name, "i386");
  EXPECT_EQ(QXGetArchInfoFromCpuType(18, 9)->description, "PowerPC 750");
  EXPECT_EQ(QXGetArchInfoFromCpuType(0x01000007, 3)->name, "x86_64");
}

TEST(ArchInfo, IgnoresCapabilityBits) {
  EXPECT_EQ(QXGetArchInfoFromCpuType(0x01000007, static_cast<cpu_subtype_t>(0x80000003))->name,
            "x86_64");
}

TEST(ArchInfo, IsNilForUnknownTypesAndSubtypes) {
  EXPECT_EQ(QXGetArchInfoFromCpuType(7, 99), nullptr);
  EXPECT_EQ(QXGetArchInfoFromCpuType(99, 3), nullptr);
  EXPECT_EQ(QXGetArchInfoFromCpuType(-1, -1), nullptr);
}

} // namespace
} // namespace tesker::test
