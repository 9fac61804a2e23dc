#include "parsing/ArchitectureCheck.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/images/FatArch.h"
#include "platform/images/HostArchitecture.h"
#include "platform/images/MachOImage.h"

#include <algorithm>
#include <fcntl.h>
#include <string>

namespace tesker {

namespace {

Suitability suitabilityIf(bool suitable) {
  return suitable ? Suitability::suitable : Suitability::notSuitable;
}

Suitability suitabilityOfFatFile(ImageSource &image, const fat_header &header) {
  if (!holdsAllRecords(image, header))
    return Suitability::cannotTell;
  const auto best = bestFatArch(FatArchReader(image, header));
  if (!best || !holdsImageOf(image, *best))
    return Suitability::notSuitable;
  // What an image shorter than a header lacks of it is 0.
  mach_header chosen{};
  const auto bytes = std::as_writable_bytes(std::span(&chosen, 1));
  const bool read =
      image.readExactly(best->offset, bytes.first(std::min<std::size_t>(best->size, bytes.size())));
  return suitabilityIf(read && swapHeaderAndCheck(chosen));
}

void appendDescription(std::string &names, cpu_type_t type, cpu_subtype_t subtype) {
  const QXArchInfo *info = QXGetArchInfoFromCpuType(type, subtype);
  if (info == nullptr)
    return;
  if (!names.empty())
    names += ", ";
  names += info->description;
}

} // namespace

bool swapHeaderAndCheck(mach_header &header) {
  return toHostOrder(header) && isHostCpuType(header.cputype);
}

Suitability suitabilityOf(const ElfDescription &program) {
  return suitabilityIf(program.isEmpty() || runsHere(program));
}

Suitability isSuitableArchitecture(ImageSource &image) {
  if (const auto elf = elfDescriptionOf(image))
    return suitabilityOf(*elf);
  if (const auto fat = fatHeaderOf(image))
    return suitabilityOfFatFile(image, *fat);
  // Kept: anything that is not an executable image, a script for instance, is not objected to;
  // others decide what to make of it.
  mach_header header{};
  if (image.size() < sizeof(header))
    return Suitability::suitable;
  if (!image.readStructure(0, header))
    return Suitability::cannotTell;
  if (header.magic != MH_MAGIC && header.magic != MH_CIGAM)
    return Suitability::suitable;
  return suitabilityIf(swapHeaderAndCheck(header));
}

Suitability TKIsProperExecutable(const NSString &dir, const NSString &file) {
  PathBuffer path;
  TeskerSetCPath(path, dir, file);
  Result<RegularFile> opened = openRegularFile(path);
  if (!opened)
    return Suitability::cannotTell;
  FileImage image(std::move(*opened));
  return isSuitableArchitecture(image);
}

NSString getArchNamesInternal(ImageSource &image) {
  std::string names;
  mach_header header{};
  if (const auto fat = fatHeaderOf(image)) {
    if (!holdsAllRecords(image, *fat))
      return nullptr;
    FatArchReader records(image, *fat);
    while (const auto record = records.next())
      appendDescription(names, record->cputype, record->cpusubtype);
  } else if (image.readStructure(0, header) && toHostOrder(header)) {
    appendDescription(names, header.cputype, header.cpusubtype);
  } else if (const auto elf = elfDescriptionOf(image); elf && !elf->isEmpty()) {
    names = descriptionOf(elf->machine);
  }
  return NSString::create(names);
}

NSString getArchNames(const NSString &path) {
  OperatingSystem &system = OperatingSystem::current();
  const int file = system.open(path.fileSystemRepresentation(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (file < 0)
    return ""_ns;
  // Kept: a file that opens and then proves not to be examinable leaves its descriptor open, where
  // TKIsProperExecutable always closes. Users of this function have always had it like that.
  struct stat status;
  if (system.statDescriptor(file, status) != 0 || !S_ISREG(status.st_mode))
    return ""_ns;
  FileImage image(RegularFile{FileDescriptor(file), status});
  return getArchNamesInternal(image);
}

} // namespace tesker
