#include "master/FinderMaster.h"

#include "master/Search.h"

namespace tesker {

SearchOutcome FinderMaster::findAppsInSearchPath(std::string_view path,
                                                 std::optional<std::string_view> previous) const {
  return Search(options_, {Search::Request::Kind::searchPath, path, previous}).run();
}

SearchOutcome FinderMaster::findAppsForDockPaths(std::string_view paths,
                                                 std::optional<std::string_view> previous) const {
  return Search(options_, {Search::Request::Kind::dockPaths, paths, previous}).run();
}

} // namespace tesker
