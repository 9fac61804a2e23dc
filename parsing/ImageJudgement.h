// ImageJudgement.h - what is said of an executable that describes nothing, or does not run here.
//
// Made only when somebody listens (Judgement.h): all of these look into the file again.
#pragma once

#include "parsing/Judgement.h"
#include "platform/images/MachOImage.h"

namespace tesker {

// Whether the file begins as a program of any kind does that is known, or is empty.
[[nodiscard]] bool isProgram(ImageSource &image);

// That the executable says nothing of itself, with the kind of file that it is: "empty", "a
// script", "an ELF program", "a 64-bit Mach-O image", "a Mach-O image without an icon header" or
// "no kind of program that is known".
[[nodiscard]] Remark noSelfDescription(ImageSource &image);

// That it does not run on this machine, with the processors that it is for and the machine's own.
[[nodiscard]] Remark notForThisProcessor(ImageSource &image);

// That a fat file announces more architectures than it holds.
[[nodiscard]] Remark architecturesLeaveTheFile(ImageSource &image);

// The damage, or where there is none, that nothing is described.
[[nodiscard]] Remark damagedOrSilent(ImageSource &image, const ImageDamage &damage);

} // namespace tesker
