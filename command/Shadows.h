// Shadows.h - which claims of applications come to nothing, since another application comes first.
//
// A claim is the name that an application calls itself by, or an extension. Of several with one
// name one is started (programToStart), and of the handlers of an extension one is the best
// (FileTypes): the others are shadowed, though they are listed.
#pragma once

#include "catalog/Handlers.h"

#include <functional>
#include <string>
#include <vector>

namespace tesker {

struct Shadow {
  const Program *program; // whose claim it is
  const Program *first;   // that comes before it
  std::string claim;      // "for the name Edit", "for the extension txt"
};

// Tells those of the programs that are asked about: of each the name, then the extensions.
void findShadows(const std::vector<Program> &programs, const PreferredApplications &preferred,
                 const std::function<bool(const Program &)> &isAskedAbout,
                 const std::function<void(const Shadow &)> &tell);

} // namespace tesker
