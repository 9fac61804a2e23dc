// ToolLocation.h - where the tool lies that belongs to this program.
#pragma once

#include <string>

namespace tesker {

// ../libexec/tesker/ToolFinder beside the running program's folder, as they are installed; where
// there is none, ToolFinder in that folder, as they are built.
std::string toolBesideThisProgram();

} // namespace tesker
