// MasterHandOver.h - the master's side of the hand-over of ports that comes before the connection.
//
// The master listens under the name "Miniapp_boot_port". The tool connects and sends message 78
// with its own port; the master answers over that port with message 79 and a new port of its own.
// The two ports make the connection. Nothing here waits.
#pragma once

#include "platform/ports/BootstrapService.h"
#include "protocol/NSConnection.h"

#include <memory>
#include <poll.h>
#include <string>
#include <vector>

namespace tesker {

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
  // Takes what has come: new connections always, a message until the hand-over is done.
  State step();

  // The connection to the tool; nil before the hand-over.
  const RefPtr<NSConnection> &connection() const { return connection_; }
  const std::string &reason() const { return reason_; }

private:
  explicit MasterHandOver(std::unique_ptr<BootstrapService> service)
      : service_(std::move(service)) {}
  State receive(port_t accepted);
  State answer(port_t toolPort);
  State end(State state, std::string reason);

  std::unique_ptr<BootstrapService> service_;
  std::vector<port_t> accepted_; // their rights are the service's
  RefPtr<NSConnection> connection_;
  std::string reason_;
};

} // namespace tesker
