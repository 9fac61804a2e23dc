#include "platform/images/FatArch.h"

#include "platform/images/HostArchitecture.h"
#include "platform/images/MachO.h"

#include <algorithm>
#include <bit>

namespace tesker {

namespace {

constexpr bool kFatIsOtherOrder = std::endian::native == std::endian::little;

} // namespace

std::optional<fat_header> fatHeaderOf(ImageSource &image) {
  fat_header header{};
  if (!image.readStructure(0, header))
    return std::nullopt;
  if constexpr (kFatIsOtherOrder)
    swap_fat_header(header);
  return header.magic == FAT_MAGIC ? std::optional(header) : std::nullopt;
}

bool holdsAllRecords(const ImageSource &image, const fat_header &header) {
  const std::uint64_t needed =
      sizeof(fat_header) + std::uint64_t{sizeof(fat_arch)} * header.nfat_arch;
  return image.size() >= needed && header.nfat_arch <= kMostFatRecords;
}

bool holdsImageOf(const ImageSource &image, const fat_arch &record) {
  return image.size() >= std::uint64_t{record.offset} + record.size;
}

bool FatArchReader::fill() {
  const std::size_t count = std::min<std::size_t>(records_.size(), left_);
  const auto wanted = std::span(records_).first(count);
  if (count == 0 || !image_->readExactly(offset_, std::as_writable_bytes(wanted))) {
    left_ = 0;
    return false;
  }
  left_ -= static_cast<std::uint32_t>(count);
  offset_ += wanted.size_bytes();
  position_ = 0;
  filled_ = count;
  return true;
}

std::optional<fat_arch> FatArchReader::next() {
  if (position_ == filled_ && !fill())
    return std::nullopt;
  fat_arch record = records_[position_++];
  if constexpr (kFatIsOtherOrder)
    swap_fat_arch(record);
  return record;
}

std::optional<fat_arch> QXFindBestFatArch(cpu_type_t type, cpu_subtype_t subtype,
                                          FatArchReader records) {
  std::optional<fat_arch> best;
  while (const auto record = records.next()) {
    if (record->cputype != type)
      continue;
    if (record->cpusubtype == subtype)
      return record;
    if (!best)
      best = record;
  }
  return best;
}

const QXArchInfo *QXGetArchInfoFromCpuType(cpu_type_t type, cpu_subtype_t subtype) {
  constexpr cpu_subtype_t kModelBits = 0x00ffffff;
  const auto known = knownProcessors();
  const auto found = std::ranges::find_if(known, [&](const QXArchInfo &info) {
    return info.cputype == type && info.cpusubtype == (subtype & kModelBits);
  });
  return found != known.end() ? &*found : nullptr;
}

std::optional<fat_arch> bestFatArch(FatArchReader records) {
  const HostProcessor &host = hostProcessor();
  const auto best = QXFindBestFatArch(host.type, host.subtype, records);
  // What is compatible with the processor without being of its type is refused.
  return best && best->cputype == host.type ? best : std::nullopt;
}

} // namespace tesker
