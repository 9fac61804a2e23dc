#include "protocol/HandOver.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/ports/Bootstrap.h"
#include "platform/ports/Message.h"
#include "protocol/BusLibrary.h"
#include "protocol/FinderProtocol.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace tesker {

namespace {

bool isReadable(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  return OperatingSystem::current().poll(&waiting, 1, 0) == 1;
}

// Tells what this side lacks for a message from what the other side did.
bool isLackOfThisSide(int error) {
  return isExhaustion(error) || error == ENOBUFS || error == ETOOMANYREFS;
}

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

Result<MasterHandOver> MasterHandOver::listen(const std::string &directory) {
  auto service = BootstrapService::checkIn(directory, kMasterServiceName);
  if (!service)
    return service.failure();
  return MasterHandOver(std::move(*service));
}

void MasterHandOver::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  descriptors.push_back({service_->descriptor(), POLLIN, 0});
  if (connection_)
    return;
  for (const port_t port : accepted_)
    descriptors.push_back({receiveDescriptor(port), POLLIN, 0});
}

MasterHandOver::State MasterHandOver::step() {
  if (const Result<> taken = acceptConnections(); !taken)
    return end(State::failed, std::string("the tool's connection cannot be accepted: ") +
                                  std::strerror(taken.error()));
  if (connection_)
    return State::done;
  for (const port_t port : accepted_) {
    const int descriptor = receiveDescriptor(port);
    if (descriptor < 0)
      return State::lost; // the service has seen the end first
    if (isReadable(descriptor))
      return receive(port);
  }
  return State::waiting;
}

// A few at a time: a tool that never stops connecting must not keep the master here. The service
// keeps the sockets open, as the tool's check for a living master needs them.
Result<> MasterHandOver::acceptConnections() {
  for (std::size_t i = 0; i < BootstrapService::kMostConnections; ++i) {
    const Result<port_t> port = service_->acceptConnection();
    if (!port)
      return port.failure();
    if (*port == PORT_NULL)
      break;
    if (!connection_)
      accepted_.push_back(*port);
  }
  return {};
}

MasterHandOver::State MasterHandOver::receive(port_t accepted) {
  PortMessage message;
  message.msg_local_port = accepted;
  const int error = msg_receive(message, kReceiveTimeout, 0);
  if (error == ECONNRESET || error == EBADF)
    return State::lost;
  if (error == EBADMSG)
    return end(State::broken, "the tool's first message is malformed");
  if (error != 0)
    return end(State::failed,
               std::string("the tool's first message cannot be received: ") + std::strerror(error));
  if (message.msg_id != kToolPortMessage) {
    port_deallocate(message.port);
    return end(State::broken, "the tool's first message has the number " +
                                  std::to_string(message.msg_id) + " instead of " +
                                  std::to_string(kToolPortMessage));
  }
  return answer(message.port);
}

MasterHandOver::State MasterHandOver::answer(port_t toolPort) {
  auto sendPort = NSPort::portWithMachPort(toolPort);
  port_t ownPort = PORT_NULL;
  if (const int error = port_allocate(task_self(), ownPort); error != 0)
    return end(State::failed,
               std::string("no port for the tool's messages: ") + std::strerror(error));
  auto receivePort = NSPort::portWithMachPort(ownPort);
  const int error =
      msg_send(messageCarrying(ownPort, toolPort, kMasterPortMessage), kSendTimeout, 0);
  if (isLackOfThisSide(error))
    return end(State::failed,
               std::string("the tool's first message cannot be answered: ") + std::strerror(error));
  if (error != 0)
    return State::lost;
  auto connection =
      NSConnection::over(std::move(receivePort), std::move(sendPort), NSConnection::Side::server);
  if (!connection)
    return end(State::failed,
               std::string("no connection to the tool: ") + std::strerror(connection.error()));
  connection_ = std::move(*connection);
  return State::done;
}

MasterHandOver::State MasterHandOver::end(State state, std::string reason) {
  reason_ = std::move(reason);
  return state;
}

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
  // While the master answers.
  if (const std::optional<std::string> problem = loadBusLibrary()) {
    syslogError("TeskerTool: Cannot load the bus library : %s", {*problem});
    return nullptr;
  }
  if (hasFailed(receiveReplyPort(newPort, mastersPort),
                "TeskerTool: Cannot receive port for replies : %d"))
    return nullptr;
  auto connection =
      NSConnection::over(std::move(receivePort), NSPort::portWithMachPort(mastersPort));
  if (hasFailed(connection.error(), "TeskerTool: Cannot start connection : %d"))
    return nullptr;
  return std::move(*connection);
}

} // namespace tesker
