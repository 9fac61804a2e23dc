// BusConnection.h - NSConnection over the bus library. Internal to the connection.
//
// The library calls back while it processes a message; a callback only decodes the message into a
// call, and the call is made after the library has returned, so that no exception passes through
// the library and a served object can wait for an answer of the other side.
#pragma once

#include "protocol/NSConnection.h"
#include "protocol/Outbox.h"

#include <exception>
#include <list>

namespace tesker {

class BusConnection final : public NSConnection, private FinderRequests {
public:
  // Gives the bus its sockets and starts the authentication. False when the library refuses them.
  [[nodiscard]] bool start(FileDescriptor input, FileDescriptor output, Side side);

  void setRootObject(FinderRequests &root) override;
  FinderRequests &rootProxy() override { return *this; }
  bool isValid() const override { return input_ >= 0; }
  bool hasUnsent() const override;
  void appendPollDescriptors(std::vector<pollfd> &descriptors) const override;
  int pollTimeout() const override;
  bool dispatch() override;

  // What a remote client is told. See FinderClient.
  void sendNoteLines(const std::string &path, const NSString *text, const NSString &key);
  void callSelf(const std::string &path);

private:
  friend NSObject;
  explicit BusConnection(std::size_t carryLimit) : carryLimit_(carryLimit) {}
  ~BusConnection() override;

  // A client of this side that the other side may call.
  struct ServedClient {
    BusConnection &connection;
    std::string path;
    Ref<FinderClient> object;
  };
  using Request = void (FinderRequests::*)(const NSString &, const NSString *, Ref<FinderClient>);

  // The other side's root object.
  void findAppsInSearchPath(const NSString &path, const NSString *previous,
                            Ref<FinderClient> client) override;
  void findAppsForDockPaths(const NSString &paths, const NSString *previous,
                            Ref<FinderClient> client) override;
  void sendRequest(const char *member, const NSString &paths, const NSString *previous,
                   FinderClient &client);
  // The path under which the other side can call the client; "" when the library refuses.
  std::string pathOfServedClient(FinderClient &client);

  // Callbacks of the library: decode the message, and answer it or leave its call in pending_.
  int takeCarry(sd_bus_message *message, sd_bus_error *error);
  template <Request request> int takeRequest(sd_bus_message *message, sd_bus_error *error);
  static int takeNoteLines(ServedClient &client, sd_bus_message *message, sd_bus_error *error);
  static int takeSelf(ServedClient &client, sd_bus_message *message, sd_bus_error *error);
  template <int (BusConnection::*take)(sd_bus_message *, sd_bus_error *)>
  static int callback(sd_bus_message *message, void *connection, sd_bus_error *error);
  template <int (*take)(ServedClient &, sd_bus_message *, sd_bus_error *)>
  static int clientCallback(sd_bus_message *message, void *client, sd_bus_error *error);
  static const sd_bus_vtable *connectionTable();
  static const sd_bus_vtable *rootTable();
  static const sd_bus_vtable *clientTable();

  bool isBusy() const { return serving_ || pending_ != nullptr; }
  // The text that may be nil, with what was carried ahead of it.
  RefPtr<NSString> takeText(std::optional<std::string_view> own);
  void servePending();

  // Processes one message and sends one, without calling anybody. True when there may be more.
  bool step();
  void stepOrWait();
  bool outputHasHungUp() const;
  bool hasTooMuchUnread() const;
  void end();

  BusPtr<sd_bus> bus_;
  int input_ = -1, output_ = -1; // the bus owns them; negative once the connection has ended
  std::size_t carryLimit_;
  FinderRequests *root_ = nullptr;
  std::list<ServedClient> served_;
  Outbox outbox_;
  std::pmr::string carried_{&NSDefaultMallocZone()};
  bool hasCarried_ = false, carriedTooMuch_ = false;
  std::function<void()> pending_; // the call to make next
  bool serving_ = false;          // a call is being made
  std::exception_ptr raised_;     // in a callback
};

} // namespace tesker
