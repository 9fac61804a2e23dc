#include "master/FinderMaster.h"

#include "master/FinderSearch.h"
#include "platform/foundation/OperatingSystem.h"

#include <array>

namespace tesker {

namespace {

SearchOutcome search(const FinderMasterOptions &options, const FinderSearchRequest &request) {
  std::optional<SearchOutcome> outcome;
  auto started = FinderSearch::start(
      options, request, [&](SearchOutcome ended) { outcome.emplace(std::move(ended)); });
  if (auto *failure = std::get_if<SearchFailure>(&started))
    return {std::move(*failure), false, {}, 0};
  FinderSearch &search = *std::get<0>(started);
  std::array<pollfd, 2> waiting{
      {{search.descriptor(), POLLIN, 0}, {options.cancelDescriptor, POLLIN, 0}}};
  while (!outcome) {
    OperatingSystem::current().poll(waiting.data(), waiting.size(), -1);
    if (waiting[1].revents != 0) {
      search.stop();
      waiting[1] = {-1, 0, 0};
    }
    search.dispatch();
  }
  return std::move(*outcome);
}

} // namespace

SearchOutcome FinderMaster::findAppsInSearchPath(std::string_view path,
                                                 std::optional<std::string_view> previous) const {
  return search(options_, {FinderSearchRequest::Kind::searchPath, path, previous});
}

SearchOutcome FinderMaster::findAppsForDockPaths(std::string_view paths,
                                                 std::optional<std::string_view> previous) const {
  return search(options_, {FinderSearchRequest::Kind::dockPaths, paths, previous});
}

} // namespace tesker
