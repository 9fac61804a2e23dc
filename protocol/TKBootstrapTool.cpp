#include "protocol/TKBootstrapTool.h"

#include "platform/foundation/NSLog.h"
#include "platform/ports/Bootstrap.h"
#include "platform/ports/Message.h"
#include "protocol/FinderNames.h"

#include <string>

namespace tesker {

namespace {

// Hands the new port to the server port. Answers the status of msg_send; 0 is success.
int tellPortList(port_t newPort, port_t serverPort) {
  return msg_send(messageCarrying(newPort, serverPort, kToolPortMessage), kSendHandOff, 0);
}

// Waits for the master's port on the new one. Answers the status of msg_receive; on 0 the port is
// stored.
int receiveReplyPort(port_t newPort, port_t &mastersPort) {
  for (;;) {
    PortMessage message;
    message.msg_local_port = newPort;
    const int status = msg_receive(message, kReceiveUntilNoSenders, 0);
    if (status != 0)
      return status;
    if (message.msg_id == kMasterPortMessage) {
      mastersPort = message.port;
      return 0;
    }
    port_deallocate(message.port);
    // Kept: the number has always been the status, 0 here, and not the message's id; readers of the
    // log know it so.
    syslogError("TeskerTool: Received unexpected message: %d", {std::to_string(status)});
  }
}

// Logs the failure of a step. True when the status is one.
bool hasFailed(kern_return_t status, const char *format) {
  if (status == KERN_SUCCESS)
    return false;
  syslogError(format, {std::to_string(status)});
  return true;
}

} // namespace

RefPtr<NSConnection> newSlave() {
  port_t serverPort = PORT_NULL, newPort = PORT_NULL, mastersPort = PORT_NULL;
  if (hasFailed(bootstrap_look_up(bootstrap_port(), kMasterServiceName, serverPort),
                "TeskerTool: Cannot get bootstrap port : %d"))
    return nullptr;
  if (hasFailed(port_allocate(task_self(), newPort), "TeskerTool: Cannot allocate new port : %d"))
    return nullptr;
  auto receivePort = NSPort::portWithMachPort(newPort); // closed if a further step fails
  if (hasFailed(tellPortList(newPort, serverPort),
                "TeskerTool: Cannot send port listening on : %d"))
    return nullptr;
  if (hasFailed(receiveReplyPort(newPort, mastersPort),
                "TeskerTool: Cannot receive port for replies : %d"))
    return nullptr;
  return NSConnection::initWithReceivePort(std::move(receivePort),
                                           NSPort::portWithMachPort(mastersPort));
}

} // namespace tesker
