// The objects of both sides: how their calls become messages, and messages calls.

#include "protocol/BusConnection.h"

#include "platform/foundation/NSException.h"

#include <cerrno>

namespace tesker {

namespace {

// The client object of the other side.
class RemoteFinderClient final : public FinderClient {
public:
  void noteLines(const NSString *text, const NSString &key) override {
    connection_->sendNoteLines(path_, text, key);
  }
  void self() override { connection_->callSelf(path_); }
  [[nodiscard]] static Ref<FinderClient> create(BusConnection &connection, const char *path) {
    return allocate<RemoteFinderClient>(NSDefaultMallocZone(), connection, path);
  }

private:
  friend NSObject;
  RemoteFinderClient(BusConnection &connection, const char *path)
      : connection_(connection), path_(path) {}

  Ref<BusConnection> connection_;
  std::string path_;
};

// The library sends the error to a caller that asked for a reply.
int refuse(sd_bus_error *error, const char *name, const char *reason) {
  return sd_bus_error_set(error, name, reason);
}

int refuseArguments(sd_bus_error *error) {
  return refuse(error, SD_BUS_ERROR_INVALID_ARGS,
                "A text that may be nil is an array of none or one array of bytes");
}

int refuseWhileBusy(sd_bus_error *error) {
  return refuse(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "Another call is being served");
}

// Answers a caller that asked for a reply; 1 then, as callbacks do.
int taken(sd_bus_message *message) {
  const int result = sd_bus_reply_method_return(message, nullptr);
  return result >= 0 ? 1 : result;
}

// Keeps the text while it waits to be sent: a string that could change is copied.
RefPtr<NSString> kept(const NSString *text) {
  return text != nullptr ? RefPtr<NSString>(text->copy()) : nullptr;
}

} // namespace

void BusConnection::findAppsInSearchPath(const NSString &path, const NSString *previous,
                                         Ref<FinderClient> client) {
  sendRequest(bus_names::kFindInSearchPath, path, previous, *client);
}

void BusConnection::findAppsForDockPaths(const NSString &paths, const NSString *previous,
                                         Ref<FinderClient> client) {
  sendRequest(bus_names::kFindForDockPaths, paths, previous, *client);
}

void BusConnection::sendRequest(const char *member, const NSString &paths, const NSString *previous,
                                FinderClient &client) {
  if (paths.length() > kLargestArgument)
    throw NSException(NSInvalidArgumentException, "The path is too long for one message");
  if (!isValid())
    return;
  const std::string clientPath = pathOfServedClient(client);
  const Ref<NSString> keptPaths = paths.copy();
  outbox_.add(
      {bus_names::kRootPath, bus_names::kToolInterface, member, kept(previous),
       [keptPaths, clientPath](sd_bus_message *message, std::optional<std::string_view> rest) {
         int result = appendText(message, keptPaths->bytes());
         if (result >= 0)
           result = appendOptionalText(message, rest);
         if (result >= 0)
           result = sd_bus_message_append(message, "o", clientPath.c_str());
         return result;
       }});
}

void BusConnection::sendNoteLines(const std::string &path, const NSString *text,
                                  const NSString &key) {
  if (!isValid())
    return;
  const Ref<NSString> keptKey = key.copy();
  outbox_.add({path, bus_names::kClientInterface, bus_names::kNoteLines, kept(text),
               [keptKey](sd_bus_message *message, std::optional<std::string_view> rest) {
                 const int result = appendOptionalText(message, rest);
                 return result >= 0 ? appendText(message, keptKey->bytes()) : result;
               }});
}

std::string BusConnection::pathOfServedClient(FinderClient &client) {
  for (const ServedClient &served : served_)
    if (&*served.object == &client)
      return served.path;
  const std::string path = "/client/" + std::to_string(served_.size() + 1);
  served_.push_back({*this, path, Ref<FinderClient>(client)});
  if (sd_bus_add_object_vtable(bus_.get(), nullptr, path.c_str(), bus_names::kClientInterface,
                               clientTable(), &served_.back()) < 0)
    end();
  return path;
}

RefPtr<NSString> BusConnection::takeText(std::optional<std::string_view> own) {
  if (!hasCarried_)
    return own ? RefPtr<NSString>(NSString::create(*own)) : nullptr;
  carried_ += own.value_or(std::string_view());
  hasCarried_ = false;
  return NSString::takingOver(std::exchange(carried_, std::pmr::string(&NSDefaultMallocZone())));
}

int BusConnection::takeCarry(sd_bus_message *message, sd_bus_error *) {
  std::string_view piece;
  if (const int result = readText(message, piece); result < 0)
    return result;
  if (piece.size() > carryLimit_ - carried_.size()) {
    carriedTooMuch_ = true;
    return 1;
  }
  carried_ += piece;
  hasCarried_ = true;
  return taken(message);
}

template <BusConnection::Request request>
int BusConnection::takeRequest(sd_bus_message *message, sd_bus_error *error) {
  std::string_view paths;
  std::optional<std::string_view> own;
  const char *clientPath = nullptr;
  if (readText(message, paths) < 0 || readOptionalText(message, own) < 0 ||
      sd_bus_message_read(message, "o", &clientPath) < 0)
    return refuseArguments(error);
  if (isBusy())
    return refuseWhileBusy(error);
  pending_ = [this, keptPaths = NSString::create(paths), previous = takeText(own),
              client = RemoteFinderClient::create(*this, clientPath)] {
    (root_->*request)(*keptPaths, previous.get(), client);
  };
  return taken(message);
}

int BusConnection::takeNoteLines(ServedClient &client, sd_bus_message *message,
                                 sd_bus_error *error) {
  std::string_view key;
  std::optional<std::string_view> own;
  if (readOptionalText(message, own) < 0 || readText(message, key) < 0)
    return refuseArguments(error);
  if (client.connection.isBusy())
    return refuseWhileBusy(error);
  client.connection.pending_ = [object = client.object, keptKey = NSString::create(key),
                                text = client.connection.takeText(own)] {
    object->noteLines(text.get(), *keptKey);
  };
  return taken(message);
}

// Answers when the object has, with the object itself.
int BusConnection::takeSelf(ServedClient &client, sd_bus_message *message, sd_bus_error *error) {
  if (client.connection.isBusy())
    return refuseWhileBusy(error);
  const std::shared_ptr<sd_bus_message> call(sd_bus_message_ref(message), BusUnref());
  client.connection.pending_ = [&client, call] {
    client.object->self();
    if (client.connection.isValid() &&
        sd_bus_reply_method_return(call.get(), "o", client.path.c_str()) < 0)
      client.connection.end();
  };
  return 1;
}

// Whatever is raised is kept for step(); the other side gets an error.
template <int (BusConnection::*take)(sd_bus_message *, sd_bus_error *)>
int BusConnection::callback(sd_bus_message *message, void *connection, sd_bus_error *error) {
  auto &receiver = *static_cast<BusConnection *>(connection);
  try {
    return (receiver.*take)(message, error);
  } catch (...) {
    receiver.raised_ = std::current_exception();
    return -ENOMEM;
  }
}

template <int (*take)(BusConnection::ServedClient &, sd_bus_message *, sd_bus_error *)>
int BusConnection::clientCallback(sd_bus_message *message, void *client, sd_bus_error *error) {
  auto &served = *static_cast<ServedClient *>(client);
  try {
    return take(served, message, error);
  } catch (...) {
    served.connection.raised_ = std::current_exception();
    return -ENOMEM;
  }
}

const sd_bus_vtable *BusConnection::connectionTable() {
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kCarry, SD_BUS_ARGS("ay", piece), SD_BUS_NO_RESULT,
                              callback<&BusConnection::takeCarry>, SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_VTABLE_END};
  return table;
}

const sd_bus_vtable *BusConnection::rootTable() {
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(
          bus_names::kFindInSearchPath, SD_BUS_ARGS("ay", path, "aay", previous, "o", client),
          SD_BUS_NO_RESULT,
          callback<&BusConnection::takeRequest<&FinderRequests::findAppsInSearchPath>>,
          SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(
          bus_names::kFindForDockPaths, SD_BUS_ARGS("ay", paths, "aay", previous, "o", client),
          SD_BUS_NO_RESULT,
          callback<&BusConnection::takeRequest<&FinderRequests::findAppsForDockPaths>>,
          SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_VTABLE_END};
  return table;
}

const sd_bus_vtable *BusConnection::clientTable() {
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kNoteLines, SD_BUS_ARGS("aay", text, "ay", key),
                              SD_BUS_NO_RESULT, clientCallback<&BusConnection::takeNoteLines>,
                              SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kSelf, SD_BUS_NO_ARGS, SD_BUS_ARGS("o", object),
                              clientCallback<&BusConnection::takeSelf>, 0),
      SD_BUS_VTABLE_END};
  return table;
}

} // namespace tesker
