// HandOver.h - the hand-over of ports that comes before the connection.
//
// The master listens under the name "Miniapp_boot_port". The tool connects and sends message 78
// with its own port; the master answers over that port with message 79 and a new port of its own.
// The two ports make the connection. The words of a message are
// platform/ports/Message.h's; docs/protocol.md tells another master all of it.
#pragma once

#include "platform/ports/BootstrapService.h"
#include "protocol/NSConnection.h"

#include <cstdint>
#include <memory>
#include <poll.h>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// The master's service, which the tool looks up; while it is there, the master lives.
inline constexpr std::string_view kMasterServiceName = "Miniapp_boot_port";

// The messages: each carries the port that its sender listens on.
inline constexpr std::uint32_t kToolPortMessage = 78;
inline constexpr std::uint32_t kMasterPortMessage = 79;

// ---- the tool's side ----

// Finds the master's service, hands it a fresh receive port (message 78), waits without a limit for
// the master's port (message 79) and makes a connection over the two. Nil, with one line in the
// system log, when one of the steps fails; messages with another id are logged and passed over.
[[nodiscard]] RefPtr<NSConnection> newSlave();

// ---- the master's side ----

// One hand-over: a service, and the first tool that connects to it. Nothing here waits.
class MasterHandOver {
public:
  // Listens in the directory. Fails as BootstrapService::checkIn does.
  [[nodiscard]] static Result<MasterHandOver> listen(const std::string &directory);

  // Appends what step() has to be called for.
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const;

  enum class State {
    waiting, // no tool has sent its port yet
    done,    // connection() is there
    lost,    // the one who connected has hung up
    broken,  // what was sent is not message 78; reason() says more
    failed,  // this side's system refused something; reason() says what
  };
  // Takes what has come: new connections always, few at a time, and a message until the hand-over
  // is done. Of the connections that live at a time BootstrapService::kMostConnections are kept;
  // further ones are closed at once.
  State step();

  // The connection to the tool; nil before the hand-over.
  const RefPtr<NSConnection> &connection() const { return connection_; }
  const std::string &reason() const { return reason_; }

private:
  explicit MasterHandOver(std::unique_ptr<BootstrapService> service)
      : service_(std::move(service)) {}
  [[nodiscard]] Result<> acceptConnections();
  State receive(port_t accepted);
  State answer(port_t toolPort);
  State end(State state, std::string reason);

  std::unique_ptr<BootstrapService> service_;
  std::vector<port_t> accepted_; // their rights are the service's
  RefPtr<NSConnection> connection_;
  std::string reason_;
};

} // namespace tesker
