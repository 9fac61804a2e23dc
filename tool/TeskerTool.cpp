#include "tool/TeskerTool.h"

#include "filesystem/BuiltInDefaults.h"
#include "platform/foundation/NSLog.h"
#include "platform/ports/Bootstrap.h"
#include "protocol/HandOver.h"
#include "protocol/NSRunLoop.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace tesker {

namespace {

constexpr int kMasterGoneStatus = -1; // the parent sees 255

} // namespace

TeskerTool *NSTool = nullptr;

bool TeskerTool::init() {
  connection_ = newSlave();
  if (!connection_)
    return false;
  connection_->setRootObject(*this);
  NSTool = this;
  registerTeskerDefaults();
  return true;
}

void TeskerTool::run() {
  try {
    NSRunLoop::currentRunLoop().run();
  } catch (...) {
    logException();
  }
}

void TeskerTool::logException() {
  syslogError("TeskerTool [%d] exception",
              {std::to_string(OperatingSystem::current().processId())});
}

void TeskerTool::terminate(FinderClient &client) {
  client.self();
  std::exit(EXIT_SUCCESS);
}

void TeskerTool::checkMasterStillAlive() const {
  port_t service = PORT_NULL;
  const kern_return_t status = bootstrap_look_up(bootstrap_port(), kMasterServiceName, service);
  if (status == BOOTSTRAP_SUCCESS)
    return;
  LogBound::liftAll();
  syslogError("Tool: bootstrap port died: %d; exiting", {std::to_string(status)});
  std::exit(kMasterGoneStatus);
}

} // namespace tesker
