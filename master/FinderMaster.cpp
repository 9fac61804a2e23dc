#include "master/FinderMaster.h"

#include "master/Search.h"

#include <new>

namespace tesker {

namespace {

SearchOutcome search(const FinderMasterOptions &options, const Search::Request &request) {
  try {
    return Search(options, request).run();
  } catch (const std::bad_alloc &) {
    return {outOfMemory(SearchStage::handOver), false, {}, 0};
  }
}

} // namespace

SearchOutcome FinderMaster::findAppsInSearchPath(std::string_view path,
                                                 std::optional<std::string_view> previous) const {
  return search(options_, {Search::Request::Kind::searchPath, path, previous});
}

SearchOutcome FinderMaster::findAppsForDockPaths(std::string_view paths,
                                                 std::optional<std::string_view> previous) const {
  return search(options_, {Search::Request::Kind::dockPaths, paths, previous});
}

} // namespace tesker
