#include "tool/ToolFinderTool.h"

#include <cstdlib>

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

} // namespace tesker
