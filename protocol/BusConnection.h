// BusConnection.h - D-Bus messages over two sockets. Internal to the connection.
//
// The bus library, one step at a time, and what ends it. The library calls back while it processes
// a message, and no exception may pass through it: a callback keeps what is raised here
// (raiseAfterwards), and step() raises it again once the library has returned.
#pragma once

#include "platform/foundation/Files.h"
#include "platform/foundation/NSString.h"
#include "protocol/AuthenticationGate.h"
#include "protocol/BusMessage.h"
#include "protocol/NSConnection.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tesker {

// A one-way call with one text that may be nil and may be long.
struct OutgoingCall {
  std::string path; // of the object called
  const char *interface;
  const char *member;
  NSString text;
  // Appends all arguments; the rest of the text, behind what was carried ahead, is given.
  std::function<int(sd_bus_message *, std::optional<std::string_view> rest)> appendArguments;
};

// Calls that wait to be sent. The bus library queues what is not written yet in memory, so it is
// given one message at a time: the next when its queue is empty. A long text goes ahead of its call
// in pieces.
class Outbox {
public:
  void add(OutgoingCall call) { calls_.push_back(std::move(call)); }
  void clear() { calls_.clear(); }
  bool isEmpty() const { return calls_.empty(); }

  // Sends the next message. Precondition: it is not empty. Negative errno on failure.
  [[nodiscard]] int sendNext(sd_bus *bus);

private:
  std::deque<OutgoingCall> calls_;
  std::size_t carried_ = 0; // bytes of the first call's text that went ahead
};

class BusConnection {
public:
  // Gives the bus its sockets. Fails with the errno when the library refuses them, or
  // ELIBACC when it cannot be loaded.
  [[nodiscard]] static Result<std::unique_ptr<BusConnection>>
  over(FileDescriptor input, FileDescriptor output, NSConnection::Side side);
  ~BusConnection();
  BusConnection(const BusConnection &) = delete;
  BusConnection &operator=(const BusConnection &) = delete;

  // Begins the authentication.
  void start();
  // Serves calls of the interface on the object at the path by the table's callbacks, which are
  // given the context.
  void addObject(const char *path, const char *interface, const sd_bus_vtable *table,
                 void *context);

  // False once the connection has ended; then nothing here does anything.
  bool isOpen() const { return input_ >= 0; }
  // As NSConnection has it.
  int lack() const { return lack_; }
  // Closes the sockets and forgets what was to be sent. Not for callbacks: endAfterwards().
  void end();

  // Queues a call.
  void send(OutgoingCall call);
  // Sends a call that asks for no reply where nothing waits to be sent and the socket has room now;
  // else it is dropped. Never waits, and does not end the connection.
  void sendIfRoom(const std::string &path, const char *interface, const char *member,
                  const std::function<int(sd_bus_message *)> &appendArguments);
  // True while something waits to be sent.
  bool hasUnsent() const;
  // Sends what waits, then this call without arguments, and waits for its answer, an error or the
  // end of the connection. What comes meanwhile is processed.
  void callAndWait(const std::string &path, const char *interface, const char *member);

  // Processes at most one message and sends at most one. True when there may be more to do at once.
  bool step();
  // As NSConnection has them.
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const;
  int pollTimeout() const;

  // For callbacks, from which the connection cannot be ended and nothing can be raised. What is
  // raised ends the connection too, for a message is lost. error: why it ends, an errno, or 0.
  void endAfterwards(int error = 0) {
    endsAfterwards_ = true;
    noteLack(error);
  }
  void raiseAfterwards(std::exception_ptr raised) { raised_ = std::move(raised); }

private:
  explicit BusConnection(BusRef<sd_bus> bus) : bus_(std::move(bus)) {}

  // Gives the library the sockets, a client's input behind a gate; negative errno when it refuses
  // them.
  int take(FileDescriptor input, FileDescriptor output, NSConnection::Side side);
  // Where it is to be seen that something has come.
  int inputDescriptor() const { return gate_ ? gate_->descriptor() : input_; }
  // Processes at most one message. As sd_bus_process(3).
  int process();
  std::uint64_t queuedInBus() const;
  bool canSend() const { return !outbox_.isEmpty() && queuedInBus() == 0; }
  bool repliesWait() const;
  bool canWriteReplies() const;
  bool outputHasHungUp() const;
  void noteLack(int error);
  void endWith(int error);
  void stepOrWait();

  BusRef<sd_bus> bus_;
  int input_ = -1, output_ = -1; // the bus owns them; negative once the connection has ended
  std::optional<AuthenticationGate> gate_; // while a client's authentication lasts
  Outbox outbox_;
  bool endsAfterwards_ = false;
  int lack_ = 0;
  std::exception_ptr raised_; // in a callback
};

} // namespace tesker
