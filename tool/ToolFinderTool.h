// ToolFinderTool.h - the tool object that finds applications for the master.
//
// It serves one request: walks over the paths, sends the client what it found and ends the process.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSAutoreleasePool.h"
#include "tool/TeskerTool.h"

namespace tesker {

class NSFileAttributes;

class ToolFinderTool final : public TeskerTool {
public:
  // The tool, connected, with an autorelease pool of its own that only terminate() releases; nil
  // when the connection could not be made.
  [[nodiscard]] static RefPtr<ToolFinderTool> create();

  void setPool(Ref<NSAutoreleasePool> pool) { pool_ = std::move(pool); }

  // As the inherited one, and releases the pool before the end.
  [[noreturn]] void terminate(FinderClient &client) override;

  // The requests: the answer goes to client.noteLines(), with nil for a text that equals previous,
  // and then the process ends (terminate()). Whatever a parser raises for one of the paths
  // themselves leaves the request, and nothing is answered.
  void findAppsInSearchPath(const NSString &path, const NSString *previous,
                            Ref<FinderClient> client) override;
  void findAppsForDockPaths(const NSString &paths, const NSString *previous,
                            Ref<FinderClient> client) override;

  // Add what is found to lines: below each of the path strings, in order;
  void doForPaths(const NSArray &paths);
  // below one path, following links (nothing when its status cannot be had);
  void doForPath(const NSString &path);
  // and below a path with these attributes (nil: nothing).
  void doForPathInfo(const NSString &path, const NSFileAttributes *info);

private:
  friend NSObject;
  ToolFinderTool() = default;

  void walkDirectory(const NSString &path);
  // Sends the client the text of lines, or nil when it equals previous, and ends the process.
  [[noreturn]] void answer(const NSString *previous, const NSString &key, FinderClient &client);

  RefPtr<NSMutableArray> lines_; // the TKLine records of the request, in the order of the walk
  RefPtr<NSAutoreleasePool> pool_;
};

} // namespace tesker
