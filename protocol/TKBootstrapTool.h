// TKBootstrapTool.h - the tool's side of the hand-over of ports that comes before the connection.
#pragma once

#include "protocol/NSConnection.h"

namespace tesker {

// Finds the master's service, hands it a fresh receive port (message 78), waits without a limit for
// the master's port (message 79) and makes a connection over the two. Nil, with one line in the
// system log, when one of the steps fails; messages with another id are logged and passed over.
[[nodiscard]] RefPtr<NSConnection> newSlave();

} // namespace tesker
