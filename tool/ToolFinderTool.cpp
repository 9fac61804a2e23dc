#include "tool/ToolFinderTool.h"

#include "finding/ApplicationFinder.h"
#include "finding/ProgressMeter.h"
#include "finding/StopRequest.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Text.h"
#include "protocol/FinderProtocol.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

RefPtr<ToolFinderTool> ToolFinderTool::create() {
  auto pool = NSAutoreleasePool::create();
  auto tool = allocate<ToolFinderTool>(NSDefaultMallocZone());
  if (!tool->init())
    return nullptr;
  tool->setPool(std::move(pool));
  return tool;
}

void ToolFinderTool::terminate(FinderClient &client) {
  client.self();
  pool_ = nullptr;
  std::exit(EXIT_SUCCESS);
}

void ToolFinderTool::findAppsInSearchPath(const NSString &path, const NSString &previous,
                                          Ref<FinderClient> client) {
  answer(find({path}, previous, *client), path, *client);
}

void ToolFinderTool::findAppsForDockPaths(const NSString &paths, const NSString &previous,
                                          Ref<FinderClient> client) {
  const std::string_view text = paths.bytes();
  if (const std::size_t count = countOfDockPaths(text); count > kMostDockPaths) {
    syslogError("*** Too many dock paths: %d", {std::to_string(count)});
    throw NSException(NSRangeException, "Too many dock paths");
  }
  std::vector<NSString> list;
  for (const std::string_view path : piecesOf(text, kDockPathSeparator))
    list.push_back(NSString::create(path)); // an empty piece is a path too
  answer(find(list, previous, *client), NSString::create(kDockKey), *client);
}

NSString ToolFinderTool::find(const std::vector<NSString> &paths, const NSString &previous,
                              FinderClient &client) const {
  ProgressMeter meter([&](const ProgressMeter &now) {
    client.noteProgress(
        {now.directories(), now.entries(), now.records(), now.path(), now.directory()});
  });
  const WalkOptions options{
      .skipsLinkCycles = environmentValue(wishes::kLinkCycles) == wishes::kSkip,
      .progress = environmentValue(wishes::kProgress) == wishes::kReport ? &meter : nullptr,
      .stop = stop_};
  const ApplicationFinder finder([this] { checkMasterStillAlive(); }, {}, options);
  return finder.findAppsForDockPaths(paths, previous);
}

void ToolFinderTool::answer(const NSString &text, const NSString &key, FinderClient &client) {
  if (stop_ != nullptr && stop_->wasObeyed())
    client.noteStopped();
  client.noteLines(text, key);
  terminate(client);
}

} // namespace tesker
