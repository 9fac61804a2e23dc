// ToolFinderTool.h - the tool object that finds applications for the master.
//
// It serves one request: has the paths searched, sends the client the answer and ends the process.
#pragma once

#include "platform/foundation/NSObject.h"
#include "tool/TeskerTool.h"

#include <vector>

namespace tesker {

class StopRequest;

class ToolFinderTool final : public TeskerTool {
public:
  // The tool, connected, with an autorelease pool of its own that only terminate() releases; nil
  // when the connection could not be made.
  [[nodiscard]] static RefPtr<ToolFinderTool> create();

  void setPool(Ref<NSAutoreleasePool> pool) { pool_ = std::move(pool); }
  // Ends a search early, with what it has found; borrowed. Nil, as it is at first: none.
  void setStopRequest(StopRequest *stop) { stop_ = stop; }

  // As the inherited one, and releases the pool before the end.
  [[noreturn]] void terminate(FinderClient &client) override;

  // The requests: the answer goes to client.noteLines(), with nil for a text that equals previous,
  // and then the process ends (terminate()). Whatever a parser raises for one of the paths
  // themselves leaves the request, and nothing is answered.
  void findAppsInSearchPath(const NSString &path, const NSString &previous,
                            Ref<FinderClient> client) override;
  void findAppsForDockPaths(const NSString &paths, const NSString &previous,
                            Ref<FinderClient> client) override;

private:
  friend NSObject;
  ToolFinderTool() = default;

  // Does what the master has asked for in the environment.
  [[nodiscard]] NSString find(const std::vector<NSString> &paths, const NSString &previous,
                              FinderClient &client) const;

  [[noreturn]] void answer(const NSString &text, const NSString &key, FinderClient &client);

  RefPtr<NSAutoreleasePool> pool_;
  StopRequest *stop_ = nullptr;
};

} // namespace tesker
