// ArchitectureCheck.h - can this executable run here, and for which processors is it?
//
// Suitability codes:
//   0  suitable, or nothing to object to: not a Mach-O or fat file nor an ELF file that describes
//      itself, or too short to tell
//   1  not suitable: no architecture for this processor, or the chosen one lies beyond the end of
//      the file or is for another processor by its own header
//   2  cannot tell: the file cannot be opened, examined or read, is not a regular file, or its fat
//      header announces more architectures than the file holds
// No messages are logged here.
#pragma once

#include "platform/foundation/NSString.h"
#include "platform/images/ElfDescription.h"
#include "platform/images/ImageSource.h"
#include "platform/images/MachO.h"

namespace tesker {

enum class Suitability : unsigned { suitable = 0, notSuitable = 1, cannotTell = 2 };

// Turns a header as it stood in the file into host order, and answers whether it is the header of a
// Mach-O image for this machine's processor type. The subtype is not compared.
[[nodiscard]] bool swapHeaderAndCheck(mach_header &header);

[[nodiscard]] Suitability isSuitableArchitecture(ImageSource &image);
// The same for an ELF file whose description has been looked for.
[[nodiscard]] Suitability suitabilityOf(const ElfDescription &program);

// The code for the file on disk that the pair names (PathFunctions.h; a nil file means dir itself).
[[nodiscard]] Suitability TKIsProperExecutable(const NSString &dir, const NSString &file);

// The descriptions of the architectures of an image, in file order, joined with ", "; unknown ones
// are left out, and so is that of an ELF file without a description. "" when there are none, nil
// when a fat header announces more than the file holds.
[[nodiscard]] NSString getArchNamesInternal(ImageSource &image);
// The same for a file; "" when it cannot be opened or examined. In a file that can be opened and
// then proves not to be examinable, the descriptor stays open.
[[nodiscard]] NSString getArchNames(const NSString &path);

} // namespace tesker
