#include "protocol/Outbox.h"

#include "protocol/NSConnection.h"

#include <cerrno>

namespace tesker {

namespace {

int sendWithoutReply(sd_bus *bus, const BusPtr<sd_bus_message> &message) {
  const int result = sd_bus_message_set_expect_reply(message.get(), 0);
  return result >= 0 ? sd_bus_send(bus, message.get(), nullptr) : result;
}

} // namespace

std::uint64_t queuedInBus(sd_bus *bus) {
  std::uint64_t queued = 0;
  return sd_bus_get_n_queued_write(bus, &queued) >= 0 ? queued : 0;
}

int Outbox::sendNext(sd_bus *bus) {
  const OutgoingCall &call = calls_.front();
  std::optional<std::string_view> rest;
  if (call.text)
    rest = call.text->bytes().substr(carried_);
  if (rest && rest->size() > NSConnection::kLargestPiece) {
    carried_ += NSConnection::kLargestPiece;
    return sendPiece(bus, rest->substr(0, NSConnection::kLargestPiece));
  }
  const int result = sendCall(bus, call, rest);
  calls_.pop_front();
  carried_ = 0;
  return result;
}

int Outbox::sendPiece(sd_bus *bus, std::string_view piece) {
  const auto message =
      newCall(bus, bus_names::kRootPath, bus_names::kConnectionInterface, bus_names::kCarry);
  if (!message)
    return -ENOMEM;
  const int result = appendText(message.get(), piece);
  return result >= 0 ? sendWithoutReply(bus, message) : result;
}

int Outbox::sendCall(sd_bus *bus, const OutgoingCall &call, std::optional<std::string_view> rest) {
  const auto message = newCall(bus, call.path.c_str(), call.interface, call.member);
  if (!message)
    return -ENOMEM;
  const int result = call.appendArguments(message.get(), rest);
  return result >= 0 ? sendWithoutReply(bus, message) : result;
}

} // namespace tesker
