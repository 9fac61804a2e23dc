#include "protocol/BusConnection.h"

#include "platform/foundation/NSException.h"
#include "protocol/NSRunLoop.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>

namespace tesker {

namespace {

constexpr std::uint64_t kNoTimeLimit = UINT64_MAX;
constexpr std::uint64_t kMostUnreadMessages = 1000;

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
  if (side == NSConnection::Side::Server) {
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

} // namespace

RefPtr<NSConnection> NSConnection::initWithReceivePort(Ref<NSPort> receivePort,
                                                       Ref<NSPort> sendPort, Side side,
                                                       std::size_t carryLimit) {
  FileDescriptor input = takeReceiveRight(receivePort->machPort());
  FileDescriptor output = takeSendRight(sendPort->machPort());
  if (!input || !output)
    return nullptr;
  auto connection = allocate<BusConnection>(NSDefaultMallocZone(), carryLimit);
  if (!connection->start(std::move(input), std::move(output), side))
    return nullptr;
  return connection;
}

bool BusConnection::start(FileDescriptor input, FileDescriptor output, Side side) {
  sd_bus *bus = nullptr;
  if (sd_bus_new(&bus) < 0)
    return false;
  bus_.reset(bus);
  if (configure(bus, side) < 0 || sd_bus_set_fd(bus, input.get(), output.get()) < 0)
    return false;
  input_ = input.release();
  output_ = output.release();
  if (sd_bus_add_object_vtable(bus, nullptr, bus_names::kRootPath, bus_names::kConnectionInterface,
                               connectionTable(), this) < 0 ||
      sd_bus_start(bus) < 0)
    end(); // as when the far side leaves a moment later
  return true;
}

BusConnection::~BusConnection() {
  NSRunLoop::currentRunLoop().removeConnection(*this);
  if (isValid())
    end();
}

void BusConnection::setRootObject(FinderRequests &root) {
  root_ = &root;
  if (sd_bus_add_object_vtable(bus_.get(), nullptr, bus_names::kRootPath, bus_names::kToolInterface,
                               rootTable(), this) < 0)
    end();
  NSRunLoop::currentRunLoop().addConnection(*this);
}

bool BusConnection::hasUnsent() const {
  return isValid() && (!outbox_.isEmpty() || queuedInBus(bus_.get()) > 0);
}

void BusConnection::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  if (!isValid())
    return;
  const int events = std::max(sd_bus_get_events(bus_.get()), 0);
  descriptors.push_back({input_, static_cast<short>(events & POLLIN), 0});
  descriptors.push_back({output_, static_cast<short>(events & POLLOUT), 0});
}

int BusConnection::pollTimeout() const {
  if (!isValid())
    return -1;
  if (pending_ != nullptr || outbox_.canSend(bus_.get()))
    return 0;
  std::uint64_t when = kNoTimeLimit;
  if (sd_bus_get_timeout(bus_.get(), &when) < 0)
    return 0; // dispatch() will see what is wrong
  if (when == kNoTimeLimit)
    return -1;
  const std::uint64_t now = monotonicMicroseconds();
  if (when <= now)
    return 0;
  return static_cast<int>(std::min<std::uint64_t>((when - now - 1) / 1000 + 1, INT_MAX));
}

bool BusConnection::dispatch() {
  const Ref<BusConnection> kept(*this);
  const bool more = isValid() && step();
  if (pending_ == nullptr || serving_)
    return more;
  servePending();
  return isValid();
}

void BusConnection::servePending() {
  struct Serving {
    explicit Serving(bool &flag) : flag_(flag) { flag_ = true; }
    ~Serving() { flag_ = false; }
    bool &flag_;
  } const serving(serving_);
  std::exchange(pending_, nullptr)();
}

bool BusConnection::step() {
  const int processed = sd_bus_process(bus_.get(), nullptr);
  if (raised_)
    std::rethrow_exception(std::exchange(raised_, nullptr));
  if (processed < 0 || carriedTooMuch_ || hasTooMuchUnread() || sd_bus_is_open(bus_.get()) <= 0) {
    end();
    return false;
  }
  if (outbox_.canSend(bus_.get())) {
    if (outbox_.sendNext(bus_.get()) >= 0)
      return true;
    end();
    return false;
  }
  if (processed == 0 && outputHasHungUp())
    end();
  return processed > 0;
}

// The outbox waits for the library's queue, so what grows there are replies.
bool BusConnection::hasTooMuchUnread() const {
  return queuedInBus(bus_.get()) > kMostUnreadMessages;
}

void BusConnection::stepOrWait() {
  if (step() || !isValid())
    return;
  std::vector<pollfd> descriptors;
  appendPollDescriptors(descriptors);
  OperatingSystem::current().poll(descriptors.data(), descriptors.size(), pollTimeout());
}

// The library sees the end of the input itself, once everything before it has been taken; of the
// output it would learn only by writing.
bool BusConnection::outputHasHungUp() const {
  pollfd descriptors[] = {{input_, POLLIN, 0}, {output_, 0, 0}};
  return OperatingSystem::current().poll(descriptors, 2, 0) > 0 &&
         (descriptors[0].revents & POLLIN) == 0 && descriptors[1].revents != 0;
}

void BusConnection::end() {
  sd_bus_close(bus_.get()); // closes the sockets
  input_ = output_ = -1;
  outbox_.clear();
  carried_ = std::pmr::string(&NSDefaultMallocZone());
  hasCarried_ = false;
}

void BusConnection::callSelf(const std::string &path) {
  while (isValid() && !outbox_.isEmpty())
    stepOrWait();
  if (!isValid())
    return;
  const auto message =
      newCall(bus_.get(), path.c_str(), bus_names::kClientInterface, bus_names::kSelf);
  bool answered = false;
  const auto note = [](sd_bus_message *, void *flag, sd_bus_error *) {
    *static_cast<bool *>(flag) = true;
    return 1;
  };
  sd_bus_slot *slot = nullptr;
  if (!message ||
      sd_bus_call_async(bus_.get(), &slot, message.get(), note, &answered, kNoTimeLimit) < 0)
    return end();
  const BusPtr<sd_bus_slot> slotOwner(slot);
  while (isValid() && !answered)
    stepOrWait();
}

} // namespace tesker
