#include "master/HandOver.h"

#include "platform/ports/Message.h"

#include <cerrno>
#include <cstring>

namespace tesker {

namespace {

constexpr std::uint32_t kToolPortMessage = 78;
constexpr std::uint32_t kMasterPortMessage = 79;

bool isReadable(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 1;
}

} // namespace

kern_return_t HandOver::listen(const std::string &directory) {
  return BootstrapService::checkIn(directory, kMasterServiceName, service_);
}

void HandOver::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  descriptors.push_back({service_->descriptor(), POLLIN, 0});
  if (connection_)
    return;
  for (const port_t port : accepted_)
    descriptors.push_back({receiveDescriptor(port), POLLIN, 0});
}

HandOver::State HandOver::step() {
  // The service keeps the sockets open, as the tool's check for a living master needs them.
  while (const port_t port = service_->acceptConnection())
    if (!connection_)
      accepted_.push_back(port);
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

HandOver::State HandOver::receive(port_t accepted) {
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
                                  std::to_string(message.msg_id) + " instead of 78");
  }
  return answer(message.port);
}

HandOver::State HandOver::answer(port_t toolPort) {
  const Ref<NSPort> sendPort = NSPort::portWithMachPort(toolPort);
  PortMessage message;
  if (const int error = port_allocate(task_self(), message.port))
    return end(State::failed,
               std::string("no port for the tool's messages: ") + std::strerror(error));
  const Ref<NSPort> receivePort = NSPort::portWithMachPort(message.port);
  message.msg_local_port = task_self();
  message.msg_remote_port = toolPort;
  message.msg_id = kMasterPortMessage;
  if (msg_send(message, kSendTimeout, 0) != 0)
    return State::lost;
  connection_ =
      NSConnection::initWithReceivePort(receivePort, sendPort, NSConnection::Side::Server);
  // It is refused at once when the tool has hung up already.
  return connection_ ? State::done : State::lost;
}

HandOver::State HandOver::end(State state, std::string reason) {
  reason_ = std::move(reason);
  return state;
}

} // namespace tesker
