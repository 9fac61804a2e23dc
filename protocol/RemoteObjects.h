// RemoteObjects.h - the objects of the other side: calls of theirs become messages.
// Internal to the connection.
#pragma once

#include "protocol/ServedObjects.h"

#include <string>

namespace tesker {

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

private:
  friend NSObject;
  RemoteClient(NSConnection &connection, BusConnection &bus, const char *path)
      : connection_(connection), bus_(bus), path_(path) {}

  Ref<NSConnection> connection_;
  BusConnection &bus_;
  std::string path_;
};

} // namespace tesker
