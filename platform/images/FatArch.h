// FatArch.h - fat files, and the architecture of one that suits a processor.
//
// A fat file announces a number of architectures that need not be true; its records are read in
// pieces of bounded size and never held all at once. Sums are exact, in 64 bits.
#pragma once

#include "platform/images/ImageSource.h"
#include "platform/images/MachO.h"

#include <array>
#include <optional>

namespace tesker {

// The fat header, in host order, when the image is a fat file: at least 8 bytes, of which the first
// four are the big-endian magic.
[[nodiscard]] std::optional<fat_header> fatHeaderOf(ImageSource &image);

// Far more architectures than any file has; one with holes could announce billions and keep every
// question about it busy for minutes. A file that announces more counts as one that does not hold
// them; nothing is logged.
inline constexpr std::uint32_t kMostFatRecords = 1'000'000;

// True when the image is long enough for all the records that its fat header announces, and these
// are no more than kMostFatRecords.
[[nodiscard]] bool holdsAllRecords(const ImageSource &image, const fat_header &header);

// True when the record's image lies inside the file.
[[nodiscard]] bool holdsImageOf(const ImageSource &image, const fat_arch &record);

// The records of a fat file in file order, from the first on. The image is borrowed; copies go on
// from where they were made.
class FatArchReader {
public:
  FatArchReader(ImageSource &image, const fat_header &header)
      : image_(&image), left_(header.nfat_arch) {}
  // The next record, in host order. Nothing after the last one, and when the file turns out to be
  // shorter than it was.
  std::optional<fat_arch> next();

private:
  bool fill();

  ImageSource *image_;
  std::uint32_t left_;
  std::uint64_t offset_ = sizeof(fat_header);
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::array<fat_arch, 200> records_; // fits the bytes that a FileImage keeps
};

// The best of the (remaining) records for a processor: the first of exactly that type and subtype,
// else the first of that type; nothing when there is none of the type.
[[nodiscard]] std::optional<fat_arch> QXFindBestFatArch(cpu_type_t type, cpu_subtype_t subtype,
                                                        FatArchReader records);

// The known processor of that type and subtype, or nil. The capability bits in the highest byte of
// the subtype are not part of the model.
[[nodiscard]] const QXArchInfo *QXGetArchInfoFromCpuType(cpu_type_t type, cpu_subtype_t subtype);

// The record for this machine's processor; nothing when there is none of its type.
[[nodiscard]] std::optional<fat_arch> bestFatArch(FatArchReader records);

} // namespace tesker
