// Outbox.h - calls that wait to be sent. Internal to the connection.
//
// The bus library queues what is not written yet in memory, so it is given one message at a time:
// the next when its queue is empty. A long text goes ahead of its call in pieces.
#pragma once

#include "platform/foundation/NSString.h"
#include "protocol/BusMessage.h"

#include <deque>
#include <functional>
#include <string>

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

} // namespace tesker
