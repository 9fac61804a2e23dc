#include "protocol/BusConnection.h"

#include "protocol/FinderProtocol.h"
#include "protocol/NSConnection.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

namespace tesker {

namespace {

constexpr std::uint64_t kNoTimeLimit = UINT64_MAX;
constexpr std::uint64_t kMostUnreadMessages = 1000;

// The library's clock.
std::uint64_t monotonicMicroseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

// Neither side may find out more about the other, or hand it descriptors: the right to talk is the
// possession of the port.
int configure(sd_bus *bus, NSConnection::Side side) {
  int result = 0;
  if (side == NSConnection::Side::server) {
    sd_id128_t id;
    result = sd_id128_randomize(&id);
    if (result >= 0)
      result = sd_bus_set_server(bus, 1, id);
  }
  if (result >= 0)
    result = sd_bus_set_anonymous(bus, 1);
  if (result >= 0)
    result = sd_bus_set_trusted(bus, 1);
  if (result >= 0)
    result = sd_bus_negotiate_fds(bus, 0);
  return result;
}

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

std::unique_ptr<BusConnection> BusConnection::over(FileDescriptor input, FileDescriptor output,
                                                   NSConnection::Side side) {
  sd_bus *bus = nullptr;
  if (sd_bus_new(&bus) < 0)
    return nullptr;
  std::unique_ptr<BusConnection> connection(new BusConnection(BusRef(bus)));
  if (configure(bus, side) < 0 || !connection->take(std::move(input), std::move(output), side))
    return nullptr;
  return connection;
}

bool BusConnection::take(FileDescriptor input, FileDescriptor output, NSConnection::Side side) {
  if (side == NSConnection::Side::client) {
    gate_ = AuthenticationGate::before(std::move(input));
    if (!gate_)
      return false;
    input = gate_->takeLibraryEnd();
  }
  if (sd_bus_set_fd(bus_, input.number(), output.number()) < 0)
    return false;
  input_ = input.release();
  output_ = output.release();
  return true;
}

BusConnection::~BusConnection() {
  if (isOpen())
    end();
}

void BusConnection::start() {
  if (isOpen() && sd_bus_start(bus_) < 0)
    end(); // as when the far side leaves a moment later
}

void BusConnection::addObject(const char *path, const char *interface, const sd_bus_vtable *table,
                              void *context) {
  if (sd_bus_add_object_vtable(bus_, nullptr, path, interface, table, context) < 0)
    end();
}

void BusConnection::end() {
  sd_bus_close(bus_); // closes the sockets
  input_ = output_ = -1;
  gate_.reset();
  outbox_.clear();
}

void BusConnection::send(OutgoingCall call) {
  if (isOpen())
    outbox_.add(std::move(call));
}

bool BusConnection::hasUnsent() const {
  return isOpen() && (!outbox_.isEmpty() || queuedInBus() > 0);
}

// How many messages the library holds that are not written yet.
std::uint64_t BusConnection::queuedInBus() const {
  std::uint64_t queued = 0;
  return sd_bus_get_n_queued_write(bus_, &queued) >= 0 ? queued : 0;
}

void BusConnection::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  if (!isOpen())
    return;
  const int events = std::max(sd_bus_get_events(bus_), 0);
  descriptors.push_back({inputDescriptor(), static_cast<short>(events & POLLIN), 0});
  descriptors.push_back({output_, static_cast<short>(events & POLLOUT), 0});
}

int BusConnection::pollTimeout() const {
  if (!isOpen())
    return -1;
  if (canSend())
    return 0;
  std::uint64_t when = kNoTimeLimit;
  if (sd_bus_get_timeout(bus_, &when) < 0)
    return 0; // step() will see what is wrong
  if (when == kNoTimeLimit)
    return -1;
  const std::uint64_t now = monotonicMicroseconds();
  if (when <= now)
    return 0;
  return static_cast<int>(std::min<std::uint64_t>((when - now - 1) / 1000 + 1, INT_MAX));
}

int BusConnection::process() {
  if (!gate_)
    return sd_bus_process(bus_, nullptr);
  gate_->pass();
  const int processed = sd_bus_process(bus_, nullptr);
  if (processed < 0 || sd_bus_is_ready(bus_) <= 0)
    return processed;
  const bool opened = gate_->open(input_);
  gate_.reset();
  return opened ? 1 : -EIO;
}

bool BusConnection::step() {
  if (!isOpen())
    return false;
  const int processed = process();
  if (raised_)
    std::rethrow_exception(std::exchange(raised_, nullptr));
  // The outbox waits for the library's queue, so what grows there are replies that nobody reads.
  if (processed < 0 || endsAfterwards_ || queuedInBus() > kMostUnreadMessages ||
      sd_bus_is_open(bus_) <= 0) {
    end();
    return false;
  }
  if (canSend()) {
    if (outbox_.sendNext(bus_) >= 0)
      return true;
    end();
    return false;
  }
  if (processed == 0 && outputHasHungUp())
    end();
  return processed > 0;
}

// The library sees the end of the input itself, once everything before it has been taken; of the
// output it would learn only by writing.
bool BusConnection::outputHasHungUp() const {
  pollfd descriptors[] = {{inputDescriptor(), POLLIN, 0}, {output_, 0, 0}};
  return OperatingSystem::current().poll(descriptors, 2, 0) > 0 &&
         (descriptors[0].revents & POLLIN) == 0 && descriptors[1].revents != 0;
}

void BusConnection::stepOrWait() {
  if (step() || !isOpen())
    return;
  std::vector<pollfd> descriptors;
  appendPollDescriptors(descriptors);
  OperatingSystem::current().poll(descriptors.data(), descriptors.size(), pollTimeout());
}

void BusConnection::callAndWait(const std::string &path, const char *interface,
                                const char *member) {
  while (isOpen() && !outbox_.isEmpty())
    stepOrWait();
  if (!isOpen())
    return;
  const auto message = newCall(bus_, path.c_str(), interface, member);
  bool answered = false;
  const auto note = [](sd_bus_message *, void *flag, sd_bus_error *) {
    *static_cast<bool *>(flag) = true;
    return 1;
  };
  sd_bus_slot *slot = nullptr;
  if (message == nullptr ||
      sd_bus_call_async(bus_, &slot, message, note, &answered, kNoTimeLimit) < 0)
    return end();
  const BusRef<sd_bus_slot> slotOwner(slot);
  while (isOpen() && !answered)
    stepOrWait();
}

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
