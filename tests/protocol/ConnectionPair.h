// ConnectionPair.h - both sides of a connection in one process: objects that record what they are
// told, and a far side that speaks D-Bus by itself.
#pragma once

#include "protocol/BusMessage.h"
#include "protocol/NSConnection.h"
#include "tests/ports/RawSockets.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tesker::test {

// The two channels, each with the end that the tool has and the one that the master has.
struct Channels {
  SocketPair toTool{SOCK_STREAM}, toMaster{SOCK_STREAM};

  RefPtr<NSConnection> toolSide(std::size_t carryLimit = NSConnection::kLargestCarriedText) {
    return over(std::move(toTool.near), std::move(toMaster.far), NSConnection::Side::client,
                carryLimit);
  }
  RefPtr<NSConnection> masterSide(std::size_t carryLimit = NSConnection::kLargestCarriedText) {
    return over(std::move(toMaster.near), std::move(toTool.far), NSConnection::Side::server,
                carryLimit);
  }

private:
  static RefPtr<NSConnection> over(FileDescriptor input, FileDescriptor output,
                                   NSConnection::Side side, std::size_t carryLimit) {
    return NSConnection::initWithReceivePort(
        NSPort::portWithMachPort(portForReceiveRight(std::move(input))),
        NSPort::portWithMachPort(portForSendRight(std::move(output))), side, carryLimit);
  }
};

struct Noted {
  NSString text, key;
  bool operator==(const Noted &) const = default;
};

// A master's client object.
class RecordingClient final : public FinderClient {
public:
  static Ref<RecordingClient> create() { return allocate<RecordingClient>(NSDefaultMallocZone()); }
  void noteLines(const NSString &text, const NSString &key) override {
    noted.push_back({text, key});
  }
  void self() override { ++selfCalls; }

  std::vector<Noted> noted;
  int selfCalls = 0;

private:
  friend NSObject;
  RecordingClient() = default;
};

struct Requested {
  std::string kind;
  NSString paths, previous;
  bool operator==(const Requested &) const = default;
};

// A tool's root object.
class RecordingRoot final : public FinderRequests {
public:
  void findAppsInSearchPath(const NSString &path, const NSString &previous,
                            Ref<FinderClient> client) override {
    take({"path", path, previous}, *client);
  }
  void findAppsForDockPaths(const NSString &paths, const NSString &previous,
                            Ref<FinderClient> client) override {
    take({"dock", paths, previous}, *client);
  }

  std::vector<Requested> requests;
  std::function<void(const Requested &, FinderClient &)> onRequest;

private:
  void take(Requested request, FinderClient &client) {
    requests.push_back(request);
    if (onRequest)
      onRequest(request, client);
  }
};

// A master that speaks D-Bus by itself, so that it can say what no connection would.
class BusPeer {
public:
  explicit BusPeer(Channels &channels) {
    (void)loadBusLibrary();
    sd_bus *bus = nullptr;
    sd_bus_new(&bus);
    bus_ = BusRef(bus);
    sd_id128_t id{};
    sd_id128_randomize(&id);
    sd_bus_set_server(bus, 1, id);
    sd_bus_set_anonymous(bus, 1);
    input_ = channels.toMaster.near.number();
    output_ = channels.toTool.far.number();
    sd_bus_set_fd(bus, channels.toMaster.near.release(), channels.toTool.far.release());
    sd_bus_start(bus);
  }

  sd_bus *bus() const { return bus_; }
  BusRef<sd_bus_message> call(const char *interface, const char *member,
                              const char *path = "/") const {
    return newCall(bus(), path, interface, member);
  }
  // Sends the call and notes how it was answered: "" for a reply without error.
  void ask(const BusRef<sd_bus_message> &message) {
    sd_bus_call_async(bus(), nullptr, message, noteAnswer, this, UINT64_MAX);
  }
  // Sends the call without asking for a reply.
  void tell(const BusRef<sd_bus_message> &message) const {
    sd_bus_message_set_expect_reply(message, 0);
    sd_bus_send(bus(), message, nullptr);
  }
  void carry(std::string_view piece) const {
    const auto message = call("Tesker.Connection", "carry");
    (void)appendText(message, piece);
    tell(message);
  }
  BusRef<sd_bus_message> request(std::optional<std::string_view> previous) const {
    auto message = call("Tesker.ToolFinder", "findAppsInSearchPath_previous_for_");
    (void)appendText(message, "/p");
    (void)appendOptionalText(message, previous);
    sd_bus_message_append(message, "o", "/me");
    return message;
  }

  int output() const { return output_; }
  bool step() const { return sd_bus_process(bus(), nullptr) > 0; }
  bool isOpen() const { return sd_bus_is_open(bus()) > 0; }
  void closeInput() const { ::shutdown(input_, SHUT_RDWR); }
  void closeOutput() const { ::shutdown(output_, SHUT_RDWR); }
  void close() const { sd_bus_close(bus()); }
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const {
    if (!isOpen())
      return;
    const int events = sd_bus_get_events(bus());
    descriptors.push_back({input_, static_cast<short>(events & POLLIN), 0});
    descriptors.push_back({output_, static_cast<short>(events & POLLOUT), 0});
  }

  std::vector<std::string> answers; // names of errors, "" for none, in order

private:
  static int noteAnswer(sd_bus_message *reply, void *peer, sd_bus_error *) {
    const sd_bus_error *error = sd_bus_message_get_error(reply);
    static_cast<BusPeer *>(peer)->answers.emplace_back(error != nullptr ? error->name : "");
    return 1;
  }

  BusRef<sd_bus> bus_;
  int input_ = -1, output_ = -1;
};

inline bool step(NSConnection &connection) { return connection.dispatch(); }
inline bool step(BusPeer &peer) { return peer.step(); }

// Drives both sides until what is waited for has come; false when it does not come.
template <class Far, class Done> bool pump(NSConnection &near, Far &far, Done done) {
  constexpr int kGivingUp = 60000;
  while (!done()) {
    const bool nearMoved = step(near);
    if (step(far) || nearMoved)
      continue;
    if (done())
      return true;
    std::vector<pollfd> descriptors;
    near.appendPollDescriptors(descriptors);
    far.appendPollDescriptors(descriptors);
    if (descriptors.empty() || ::poll(descriptors.data(), descriptors.size(), kGivingUp) == 0)
      return done();
  }
  return true;
}

} // namespace tesker::test
