// ToolLocation.h - where the tool lies that belongs to this program.
#pragma once

#include <string>

namespace tesker {

// Where it is installed as seen from the running program's folder (../libexec/tesker/ToolFinder,
// unless the build was told of other folders), so that all can be moved together; where there is
// none, ToolFinder in that folder, as they are built.
std::string toolBesideThisProgram();

} // namespace tesker
