#include "protocol/Outbox.h"

#include "protocol/FinderNames.h"
#include "protocol/NSConnection.h"

#include <cerrno>

namespace tesker {

namespace {

using OptionalText = std::optional<std::string_view>;

// Fills the call and sends it. Negative errno on failure.
template <class Fill>
int sendWithoutReply(sd_bus *bus, const BusRef<sd_bus_message> &message, Fill fill) {
  int result = message != nullptr ? fill(message) : -ENOMEM;
  if (result >= 0)
    result = sd_bus_message_set_expect_reply(message, 0);
  return result >= 0 ? sd_bus_send(bus, message, nullptr) : result;
}

int sendPiece(sd_bus *bus, std::string_view piece) {
  return sendWithoutReply(
      bus, newCall(bus, bus_names::kRootPath, bus_names::kConnectionInterface, bus_names::kCarry),
      [&](sd_bus_message *message) { return appendText(message, piece); });
}

int sendCall(sd_bus *bus, const OutgoingCall &call, OptionalText rest) {
  return sendWithoutReply(
      bus, newCall(bus, call.path.c_str(), call.interface, call.member),
      [&](sd_bus_message *message) { return call.appendArguments(message, rest); });
}

} // namespace

int Outbox::sendNext(sd_bus *bus) {
  const OutgoingCall &call = calls_.front();
  const std::string_view rest = call.text.bytes().substr(carried_);
  if (rest.size() > NSConnection::kLargestPiece) {
    carried_ += NSConnection::kLargestPiece;
    return sendPiece(bus, rest.substr(0, NSConnection::kLargestPiece));
  }
  const int result = sendCall(bus, call, call.text ? OptionalText(rest) : std::nullopt);
  calls_.pop_front();
  carried_ = 0;
  return result;
}

} // namespace tesker
