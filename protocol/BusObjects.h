// BusObjects.h - the objects of both sides, as they meet on the bus. Internal to the connection.
//
// This side's objects are served: a callback of the bus library only decodes the message into a
// call; the call is made after the library has returned (makeCall), so that a served object can
// wait for an answer of the other side and no exception passes through the library. The other
// side's objects are remote: calls of theirs become messages.
#pragma once

#include "protocol/BusConnection.h"

#include <functional>
#include <list>
#include <optional>
#include <string>

namespace tesker {

// A long text on its way in: the pieces that were carried ahead of the call that they belong to.
class CarriedText {
public:
  explicit CarriedText(std::size_t limit) : limit_(limit) {}
  // Keeps a further piece. False when that would be more than the limit.
  [[nodiscard]] bool add(std::string piece);
  // The call's text: all pieces followed by its own, which counts as empty when it is nil and there
  // are pieces. Afterwards there are none.
  [[nodiscard]] NSString takeWith(std::optional<std::string> own);
  void clear() { pieces_.reset(); }

private:
  std::size_t limit_;
  std::optional<std::string> pieces_;
};

// The objects of this side, as the other side calls them.
class ServedObjects {
public:
  ServedObjects(NSConnection &connection, BusConnection &bus, std::size_t carryLimit);
  ~ServedObjects();
  ServedObjects(const ServedObjects &) = delete;
  ServedObjects &operator=(const ServedObjects &) = delete;

  // Publishes the root object; borrowed.
  void setRoot(FinderRequests &root);
  // The path under which the other side can call the client, which is kept from now on.
  const std::string &pathOf(FinderClient &client);

  // True while a call is there to be made.
  bool hasCall() const { return call_ != nullptr; }
  // Makes the call that has come; further ones are refused meanwhile. False when there is none.
  bool makeCall();
  // Gives up what was carried: the call that it belongs to will not come any more.
  void forgetCarried() { carried_.clear(); }

private:
  class Client;

  // Callbacks: decode the message, and answer it or leave its call in call_.
  int takeCarry(sd_bus_message *message, sd_bus_error *error);
  template <auto request> int takeRequest(sd_bus_message *message, sd_bus_error *error);
  template <class Receiver, auto take>
  static int callback(sd_bus_message *message, void *receiver, sd_bus_error *error);
  // After arguments that could not be read: EINVAL says that they are wrong.
  int refuseOrGiveUp(int readError, sd_bus_error *error);
  int giveUp(int error);
  static const sd_bus_vtable *connectionTable();
  static const sd_bus_vtable *rootTable();
  static const sd_bus_vtable *clientTable();

  // Raised in a callback: the bus raises it again.
  void keepRaised() { bus_.raiseAfterwards(std::current_exception()); }
  bool isBusy() const { return isCalling_ || call_ != nullptr; }

  NSConnection &connection_;
  BusConnection &bus_;
  FinderRequests *root_ = nullptr;
  std::list<Client> clients_;
  CarriedText carried_;
  std::function<void()> call_; // to be made next
  bool isCalling_ = false;
};

// The other side's root object.
class RemoteRoot final : public FinderRequests {
public:
  RemoteRoot(BusConnection &bus, ServedObjects &served) : bus_(bus), served_(served) {}

  void findAppsInSearchPath(const NSString &path, const NSString &previous,
                            Ref<FinderClient> client) override;
  void findAppsForDockPaths(const NSString &paths, const NSString &previous,
                            Ref<FinderClient> client) override;

private:
  void send(const char *member, const NSString &paths, const NSString &previous,
            FinderClient &client);

  BusConnection &bus_;
  ServedObjects &served_; // the clients that the other side answers
};

// A client object of the other side.
class RemoteClient final : public FinderClient {
public:
  // Keeps the connection, to which the bus belongs, alive.
  [[nodiscard]] static Ref<FinderClient> create(NSConnection &connection, BusConnection &bus,
                                                const char *path) {
    return allocate<RemoteClient>(NSDefaultMallocZone(), connection, bus, path);
  }
  void noteLines(const NSString &text, const NSString &key) override;
  void self() override;
  void noteProgress(const FinderProgress &progress) override;
  void noteStopped() override;

private:
  friend NSObject;
  RemoteClient(NSConnection &connection, BusConnection &bus, const char *path)
      : connection_(connection), bus_(bus), path_(path) {}

  Ref<NSConnection> connection_;
  BusConnection &bus_;
  std::string path_;
};

} // namespace tesker
