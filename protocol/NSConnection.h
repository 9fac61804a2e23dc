// NSConnection.h - remote objects over two ports.
//
// What the two sides speak is D-Bus, peer to peer (docs/protocol.md): they read from their receive
// port and write to their send port. Nothing blocks except FinderClient::self() of a remote client.
// What is to be sent is queued as a call with its text; a long text goes out piece by piece, the
// next when the one before has left, so that never more than one piece waits in memory.
//
// A connection is driven by the run loop (NSRunLoop.h) or by its owner's own poll loop:
//
//   while (connection->isValid()) {
//     std::vector<pollfd> descriptors;              // and the owner's own
//     connection->appendPollDescriptors(descriptors);
//     poll(descriptors, min(own time-out, connection->pollTimeout()));
//     connection->dispatch();
//   }
//
// It ends (isValid() becomes false, both sockets are closed) when either socket hangs up, or the
// other side breaks the protocol, sends what this side cannot take (for a lack of memory, or a
// client's path of more than 64 KiB), does not authenticate within 90 seconds, or carries more than
// the limit. From then on nothing is sent and nothing arrives; nothing is logged. While more than
// sixteen messages wait to be written nothing is read: a far side has to read its replies.
//
// The other side's client objects keep their connection alive; the connection keeps the clients
// that it has handed out alive, but not its root object.
#pragma once

#include "platform/foundation/Result.h"
#include "platform/ports/Port.h"
#include "protocol/FinderProtocol.h"

#include <cstddef>
#include <memory>
#include <poll.h>
#include <utility>
#include <vector>

namespace tesker {

// A Mach port with an owner, who gives up what the task holds of it when it goes. Moves, never
// copies. A connection made over the port takes its right out.
class NSPort {
public:
  [[nodiscard]] static NSPort portWithMachPort(port_t machPort) { return NSPort(machPort); }
  NSPort(NSPort &&other) noexcept : machPort_(std::exchange(other.machPort_, PORT_NULL)) {}
  NSPort &operator=(NSPort &&other) noexcept {
    std::swap(machPort_, other.machPort_);
    return *this;
  }
  NSPort(const NSPort &) = delete;
  NSPort &operator=(const NSPort &) = delete;
  ~NSPort() { port_deallocate(machPort_); }

  // PORT_NULL once it has been moved from.
  port_t machPort() const { return machPort_; }

private:
  explicit NSPort(port_t machPort) : machPort_(machPort) {}

  port_t machPort_;
};

class BusConnection;
class NSRunLoop;
class RemoteRoot;
class ServedObjects;

class NSConnection final : public NSObject {
public:
  // Who begins the authentication: the tool is the client, the master is the server.
  enum class Side { client, server };

  // The text that carried pieces may make; more ends the connection.
  static constexpr std::size_t kLargestCarriedText = std::size_t{1} << 30;
  // One message's share of a text; a longer text is carried ahead in pieces of this size.
  static constexpr std::size_t kLargestPiece = std::size_t{16} << 20;
  // What D-Bus admits for one array, and so for a path or a list of paths.
  static constexpr std::size_t kLargestArgument = std::size_t{64} << 20;

  // A connection over the two ports, whose rights it takes out of them and owns from now on; it has
  // ended already when the far side has. Fails with the errno: EBADF when a right is missing, else
  // what the bus library gives as it refuses the sockets or to start. carryLimit: as
  // kLargestCarriedText.
  [[nodiscard]] static Result<Ref<NSConnection>> over(NSPort receivePort, NSPort sendPort,
                                                      Side side = Side::client,
                                                      std::size_t carryLimit = kLargestCarriedText);
  // The same; nil when it fails.
  [[nodiscard]] static RefPtr<NSConnection>
  initWithReceivePort(NSPort receivePort, NSPort sendPort, Side side = Side::client,
                      std::size_t carryLimit = kLargestCarriedText);

  // Publishes the object as this side's root object, once. Borrowed: it must outlive the
  // connection. The current run loop serves the connection from now on.
  void setRootObject(FinderRequests &root);

  // The other side's root object; lives as long as the connection. A request is queued and sent as
  // dispatch() is called; the client becomes known to the other side and is kept from then on. A
  // path (or list) longer than kLargestArgument raises NSInvalidArgumentException.
  [[nodiscard]] FinderRequests &rootProxy();

  // False once the connection has ended.
  [[nodiscard]] bool isValid() const;
  // Why this side has ended the connection, when it lacked something: an errno, such as ENOMEM. 0
  // while it lasts, and when the far side was the reason.
  [[nodiscard]] int lack() const;
  // True while something waits to be sent.
  [[nodiscard]] bool hasUnsent() const;

  // Appends the sockets with the events to wait for; none once the connection has ended.
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const;
  // Milliseconds after which dispatch() has work even if no event comes: 0 when it has some now,
  // -1 when never.
  [[nodiscard]] int pollTimeout() const;
  // One step, without blocking: takes at most one message, sends what the sockets take of what is
  // queued, and then calls the object that the message is for, so whatever that one throws leaves
  // through here. While one call is being served no other is: a call that arrives meanwhile is
  // refused (LimitsExceeded). True when there may be more to do at once.
  bool dispatch();

private:
  friend NSObject;
  NSConnection(std::unique_ptr<BusConnection> bus, std::size_t carryLimit);
  ~NSConnection() override;

  std::unique_ptr<BusConnection> bus_;
  std::unique_ptr<ServedObjects> served_;
  std::unique_ptr<RemoteRoot> remoteRoot_;
  NSRunLoop *runLoop_ = nullptr; // the one that serves it; nil where its owner does
};

} // namespace tesker
