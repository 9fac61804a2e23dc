#include "protocol/BusConnection.h"

#include "platform/foundation/ReadFailures.h"
#include "protocol/FinderProtocol.h"
#include "protocol/NSConnection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

namespace tesker {

namespace {

constexpr std::uint64_t kNoTimeLimit = UINT64_MAX;
// When more messages than this wait to be written, nothing is read. This side gives the library one
// message at a time, so the others are replies that the far side does not read; a few may wait, for
// a far side that reads only when it has said what it has to say.
constexpr std::uint64_t kMostWaitingMessages = 16;
// What the library's own interfaces are asked with are names, which D-Bus bounds at 255 bytes. It
// tells an unknown one again in its reply, however long it is.
constexpr std::size_t kLongestName = 255;
constexpr std::string_view kLibraryInterfaces = "org.freedesktop.DBus.";

// The library's clock.
std::uint64_t monotonicMicroseconds() {
  using std::chrono::microseconds;
  const auto now = OperatingSystem::current().steadyTime().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::floor<microseconds>(now).count());
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

// Keeps what the library's own interfaces are asked with, and so their replies, small.
int refuseLongName(sd_bus_message *message, void *, sd_bus_error *) {
  const char *interface = sd_bus_message_get_interface(message);
  std::uint8_t type = 0;
  (void)sd_bus_message_get_type(message, &type);
  if (type != SD_BUS_MESSAGE_METHOD_CALL || interface == nullptr ||
      !std::string_view(interface).starts_with(kLibraryInterfaces))
    return 0;
  const char *name = nullptr;
  bool isLong = false;
  while (!isLong && sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &name) > 0)
    isLong = std::string_view(name).size() > kLongestName;
  if (!isLong)
    return std::min(sd_bus_message_rewind(message, 1), 0);
  return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "A name is too long");
}

// Whether starting fails so because the far side has left already, or has said something wrong,
// EIO, or too much, ENOBUFS, in place of the authentication: it is as when it does so a moment
// later.
bool isOfTheFarSide(int error) {
  return error == EPIPE || error == ECONNRESET || error == ENOTCONN || error == EIO ||
         error == ENOBUFS;
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

Result<std::unique_ptr<BusConnection>>
BusConnection::over(FileDescriptor input, FileDescriptor output, NSConnection::Side side) {
  if (loadBusLibrary())
    return Failure{ELIBACC};
  sd_bus *bus = nullptr;
  int result = sd_bus_new(&bus);
  if (result < 0)
    return Failure{-result};
  std::unique_ptr<BusConnection> connection(new BusConnection(BusRef(bus)));
  result = configure(bus, side);
  if (result >= 0)
    result = sd_bus_add_filter(bus, nullptr, refuseLongName, nullptr);
  if (result >= 0)
    result = connection->take(std::move(input), std::move(output), side);
  if (result < 0)
    return Failure{-result};
  return connection;
}

int BusConnection::take(FileDescriptor input, FileDescriptor output, NSConnection::Side side) {
  if (side == NSConnection::Side::client) {
    Result<AuthenticationGate> gate = AuthenticationGate::before(std::move(input));
    if (!gate)
      return -gate.error();
    input = gate->takeLibraryEnd();
    gate_ = std::move(*gate);
  }
  const int result = sd_bus_set_fd(bus_, input.number(), output.number());
  if (result >= 0) { // they are the bus's now
    input_ = input.release();
    output_ = output.release();
  }
  return result;
}

BusConnection::~BusConnection() {
  if (isOpen())
    end();
}

void BusConnection::start() {
  if (!isOpen())
    return;
  const int error = -sd_bus_start(bus_);
  if (error <= 0)
    return;
  end();
  if (!isOfTheFarSide(error))
    lack_ = error;
}

void BusConnection::addObject(const char *path, const char *interface, const sd_bus_vtable *table,
                              void *context) {
  const int result = sd_bus_add_object_vtable(bus_, nullptr, path, interface, table, context);
  if (result >= 0)
    return;
  // Kept: one reference is never given up. A bus that lacked the memory for an object may hold half
  // of it, and the library would end the process over that as it frees the bus.
  (void)sd_bus_ref(bus_);
  endWith(-result);
}

// Tells what this side lacks from what the other side did.
void BusConnection::noteLack(int error) {
  if (isExhaustion(error))
    lack_ = error;
}

void BusConnection::endWith(int error) {
  noteLack(error);
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

// A socket that can be written to has room for much more than one of these. Should it be given
// less, the library keeps the rest, and nothing further is sent until that has gone with the next
// call.
void BusConnection::sendIfRoom(const std::string &path, const char *interface, const char *member,
                               const std::function<int(sd_bus_message *)> &appendArguments) {
  if (!isOpen() || hasUnsent())
    return;
  pollfd output{output_, POLLOUT, 0};
  if (OperatingSystem::current().poll(&output, 1, 0) > 0 && output.revents == POLLOUT)
    (void)sendWithoutReply(bus_, newCall(bus_, path.c_str(), interface, member), appendArguments);
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
  descriptors.push_back(
      {inputDescriptor(), static_cast<short>(repliesWait() ? 0 : events & POLLIN), 0});
  descriptors.push_back({output_, static_cast<short>(events & POLLOUT), 0});
}

int BusConnection::pollTimeout() const {
  if (!isOpen())
    return -1;
  if (canSend())
    return 0;
  if (repliesWait())
    return -1; // whatever has been read already
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
  if (!isOpen() || (repliesWait() && !canWriteReplies()))
    return false;
  errno = 0;
  int processed = process();
  // A call that asks for no reply and that the library has no memory to pass on is lost without a
  // word from it; malloc(3) leaves one.
  if (errno == ENOMEM)
    processed = -ENOMEM;
  if (raised_) {
    end();
    std::rethrow_exception(std::exchange(raised_, nullptr));
  }
  if (processed < 0 || endsAfterwards_ || sd_bus_is_open(bus_) <= 0) {
    endWith(std::max(-processed, 0));
    return false;
  }
  if (canSend()) {
    const int sent = outbox_.sendNext(bus_);
    if (sent >= 0)
      return true;
    endWith(-sent);
    return false;
  }
  if (processed == 0 && outputHasHungUp())
    end();
  return processed > 0;
}

bool BusConnection::repliesWait() const {
  return queuedInBus() > kMostWaitingMessages && sd_bus_is_ready(bus_) > 0;
}

// The library reads whenever it writes, so it is not called until there is much room again, or the
// far side has gone.
bool BusConnection::canWriteReplies() const {
  pollfd descriptors[] = {{inputDescriptor(), 0, 0}, {output_, POLLOUT, 0}};
  return OperatingSystem::current().poll(descriptors, 2, 0) > 0;
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
  const int result = message != nullptr
                         ? sd_bus_call_async(bus_, &slot, message, note, &answered, kNoTimeLimit)
                         : -ENOMEM;
  if (result < 0)
    return endWith(-result);
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
