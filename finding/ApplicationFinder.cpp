#include "finding/ApplicationFinder.h"

#include "finding/ApplicationWalk.h"
#include "parsing/RecordEncoding.h"

namespace tesker {

NSString ApplicationFinder::findAppsInSearchPath(const NSString &path,
                                                 const NSString &previous) const {
  return findAppsForDockPaths({path}, previous);
}

NSString ApplicationFinder::findAppsForDockPaths(const std::vector<NSString> &paths,
                                                 const NSString &previous) const {
  ApplicationWalk walk(checkMasterStillAlive_);
  walk.doForPaths(paths);
  const NSString text = encodeParsedApp(walk.lines());
  return text == previous ? nullptr : text;
}

} // namespace tesker
