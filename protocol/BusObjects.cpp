#include "protocol/BusObjects.h"

#include "platform/foundation/NSException.h"
#include "protocol/FinderProtocol.h"

#include <cerrno>

namespace tesker {

namespace {

// The library sends the error to a caller that asked for a reply.
int refuseArguments(sd_bus_error *error) {
  return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS,
                          "A text that may be nil is an array of none or one array of bytes");
}

int refuseWhileBusy(sd_bus_error *error) {
  return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "Another call is being served");
}

int readObjectPath(sd_bus_message *message, const char *&path) {
  const int result = sd_bus_message_read(message, "o", &path);
  return result < 0 ? -result : 0;
}

// Answers a caller that asked for a reply; 1 then, as callbacks do.
int taken(sd_bus_message *message) {
  const int result = sd_bus_reply_method_return(message, nullptr);
  return result >= 0 ? 1 : result;
}

} // namespace

bool CarriedText::add(std::string piece) {
  const std::size_t size = pieces_ ? pieces_->size() : 0;
  if (piece.size() > limit_ - size)
    return false;
  if (size > 0)
    *pieces_ += piece;
  else
    pieces_ = std::move(piece);
  return true;
}

NSString CarriedText::takeWith(std::optional<std::string> own) {
  if (!pieces_)
    return own ? NSString::takingOver(std::move(*own)) : nullptr;
  std::string text = std::move(*pieces_);
  pieces_.reset();
  text += own.value_or(std::string());
  return NSString::takingOver(std::move(text));
}

// A client of this side.
class ServedObjects::Client {
public:
  Client(ServedObjects &objects, std::string path, FinderClient &object)
      : objects_(objects), path_(std::move(path)), object_(object) {}
  const std::string &path() const { return path_; }
  bool is(const FinderClient &object) const { return &*object_ == &object; }

  int takeNoteLines(sd_bus_message *message, sd_bus_error *error);
  int takeSelf(sd_bus_message *message, sd_bus_error *error);
  int takeProgress(sd_bus_message *message, sd_bus_error *error);
  int takeStopped(sd_bus_message *message, sd_bus_error *error);
  void keepRaised() { objects_.keepRaised(); }

private:
  void answerSelf(sd_bus_message *call);

  ServedObjects &objects_;
  std::string path_;
  Ref<FinderClient> object_;
};

ServedObjects::ServedObjects(NSConnection &connection, BusConnection &bus, std::size_t carryLimit)
    : connection_(connection), bus_(bus), carried_(carryLimit) {
  bus_.addObject(bus_names::kRootPath, bus_names::kConnectionInterface, connectionTable(), this);
}

ServedObjects::~ServedObjects() = default;

void ServedObjects::setRoot(FinderRequests &root) {
  root_ = &root;
  bus_.addObject(bus_names::kRootPath, bus_names::kToolInterface, rootTable(), this);
}

const std::string &ServedObjects::pathOf(FinderClient &client) {
  for (const Client &known : clients_)
    if (known.is(client))
      return known.path();
  Client &added =
      clients_.emplace_back(*this, "/client/" + std::to_string(clients_.size() + 1), client);
  bus_.addObject(added.path().c_str(), bus_names::kClientInterface, clientTable(), &added);
  return added.path();
}

bool ServedObjects::makeCall() {
  if (call_ == nullptr)
    return false;
  struct Calling {
    explicit Calling(bool &flag) : flag_(flag) { flag_ = true; }
    ~Calling() { flag_ = false; }
    bool &flag_;
  } const calling(isCalling_);
  std::exchange(call_, nullptr)();
  return true;
}

int ServedObjects::takeCarry(sd_bus_message *message, sd_bus_error *) {
  Result<std::string> piece = readText(message);
  if (!piece)
    return giveUp(piece.error()); // without it the text would be another one
  if (carried_.add(std::move(*piece)))
    return taken(message);
  bus_.endAfterwards();
  return 1;
}

// A call that cannot be taken, though nothing is wrong about it, would leave both sides waiting.
int ServedObjects::giveUp(int error) {
  bus_.endAfterwards(error);
  return -error;
}

int ServedObjects::refuseOrGiveUp(int readError, sd_bus_error *error) {
  return readError == EINVAL ? refuseArguments(error) : giveUp(readError);
}

template <auto request>
int ServedObjects::takeRequest(sd_bus_message *message, sd_bus_error *error) {
  Result<std::string> paths = readText(message);
  Result<std::optional<std::string>> own = readOptionalText(message);
  const char *client = nullptr;
  if (!paths || !own)
    return refuseOrGiveUp(paths ? own.error() : paths.error(), error);
  if (const int failed = readObjectPath(message, client); failed != 0)
    return giveUp(failed);
  if (isBusy())
    return refuseWhileBusy(error);
  call_ = [this, argument = NSString::takingOver(std::move(*paths)),
           previous = carried_.takeWith(std::move(*own)),
           remote = RemoteClient::create(connection_, bus_, client)] {
    (root_->*request)(argument, previous, remote);
  };
  return taken(message);
}

int ServedObjects::Client::takeNoteLines(sd_bus_message *message, sd_bus_error *error) {
  Result<std::optional<std::string>> own = readOptionalText(message);
  Result<std::string> key = readText(message);
  if (!own || !key)
    return objects_.refuseOrGiveUp(own ? key.error() : own.error(), error);
  if (objects_.isBusy())
    return refuseWhileBusy(error);
  objects_.call_ = [object = object_, text = objects_.carried_.takeWith(std::move(*own)),
                    keptKey = NSString::takingOver(std::move(*key))] {
    object->noteLines(text, keptKey);
  };
  return taken(message);
}

int ServedObjects::Client::takeSelf(sd_bus_message *message, sd_bus_error *error) {
  if (objects_.isBusy())
    return refuseWhileBusy(error);
  BusRef kept(sd_bus_message_ref(message)); // before there can be a lack of memory
  const auto call = std::make_shared<BusRef<sd_bus_message>>(std::move(kept));
  objects_.call_ = [this, call] { answerSelf(*call); };
  return 1;
}

// One that cannot be read, or comes at the wrong time, is passed over: another one may follow.
int ServedObjects::Client::takeProgress(sd_bus_message *message, sd_bus_error *) {
  FinderProgress progress;
  const int numbers = sd_bus_message_read(message, "ttt", &progress.directories, &progress.entries,
                                          &progress.records);
  Result<std::string> path = readShortText(message, kLongestProgressPath);
  Result<std::string> directory = readShortText(message, kLongestProgressPath);
  if (numbers >= 0 && path && directory && !objects_.isBusy()) {
    progress.path = NSString::takingOver(std::move(*path));
    progress.directory = NSString::takingOver(std::move(*directory));
    objects_.call_ = [object = object_, progress = std::move(progress)] {
      object->noteProgress(progress);
    };
  }
  return taken(message);
}

int ServedObjects::Client::takeStopped(sd_bus_message *message, sd_bus_error *error) {
  if (objects_.isBusy())
    return refuseWhileBusy(error);
  objects_.call_ = [object = object_] { object->noteStopped(); };
  return taken(message);
}

// Answers when the object has, with the object itself.
void ServedObjects::Client::answerSelf(sd_bus_message *call) {
  object_->self();
  if (objects_.bus_.isOpen() && sd_bus_reply_method_return(call, "o", path_.c_str()) < 0)
    objects_.bus_.end();
}

// Whatever is raised is kept; the other side gets an error.
template <class Receiver, auto take>
int ServedObjects::callback(sd_bus_message *message, void *context, sd_bus_error *error) {
  auto &receiver = *static_cast<Receiver *>(context);
  try {
    return (receiver.*take)(message, error);
  } catch (...) {
    receiver.keepRaised();
    return -ENOMEM;
  }
}

const sd_bus_vtable *ServedObjects::connectionTable() {
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kCarry, SD_BUS_ARGS("ay", piece), SD_BUS_NO_RESULT,
                              (callback<ServedObjects, &ServedObjects::takeCarry>),
                              SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_VTABLE_END};
  return table;
}

const sd_bus_vtable *ServedObjects::rootTable() {
  constexpr auto takePath = &ServedObjects::takeRequest<&FinderRequests::findAppsInSearchPath>;
  constexpr auto takeDock = &ServedObjects::takeRequest<&FinderRequests::findAppsForDockPaths>;
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(
          bus_names::kFindInSearchPath, SD_BUS_ARGS("ay", path, "aay", previous, "o", client),
          SD_BUS_NO_RESULT, (callback<ServedObjects, takePath>), SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(
          bus_names::kFindForDockPaths, SD_BUS_ARGS("ay", paths, "aay", previous, "o", client),
          SD_BUS_NO_RESULT, (callback<ServedObjects, takeDock>), SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_VTABLE_END};
  return table;
}

const sd_bus_vtable *ServedObjects::clientTable() {
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kNoteLines, SD_BUS_ARGS("aay", text, "ay", key),
                              SD_BUS_NO_RESULT, (callback<Client, &Client::takeNoteLines>),
                              SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(
          bus_names::kNoteProgress,
          SD_BUS_ARGS("t", directories, "t", entries, "t", records, "ay", path, "ay", directory),
          SD_BUS_NO_RESULT, (callback<Client, &Client::takeProgress>),
          SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kNoteStopped, SD_BUS_NO_ARGS, SD_BUS_NO_RESULT,
                              (callback<Client, &Client::takeStopped>),
                              SD_BUS_VTABLE_METHOD_NO_REPLY),
      SD_BUS_METHOD_WITH_ARGS(bus_names::kSelf, SD_BUS_NO_ARGS, SD_BUS_ARGS("o", client),
                              (callback<Client, &Client::takeSelf>), 0),
      SD_BUS_VTABLE_END};
  return table;
}

void RemoteRoot::findAppsInSearchPath(const NSString &path, const NSString &previous,
                                      Ref<FinderClient> client) {
  send(bus_names::kFindInSearchPath, path, previous, *client);
}

void RemoteRoot::findAppsForDockPaths(const NSString &paths, const NSString &previous,
                                      Ref<FinderClient> client) {
  send(bus_names::kFindForDockPaths, paths, previous, *client);
}

void RemoteRoot::send(const char *member, const NSString &paths, const NSString &previous,
                      FinderClient &client) {
  if (paths.length() > NSConnection::kLargestArgument)
    throw NSException(NSInvalidArgumentException, "The path is too long for one message");
  if (!bus_.isOpen())
    return;
  bus_.send({bus_names::kRootPath, bus_names::kToolInterface, member, previous,
             [paths, path = served_.pathOf(client)](sd_bus_message *message,
                                                    std::optional<std::string_view> rest) {
               int result = appendText(message, paths.bytes());
               if (result >= 0)
                 result = appendOptionalText(message, rest);
               if (result >= 0)
                 result = sd_bus_message_append(message, "o", path.c_str());
               return result;
             }});
}

void RemoteClient::noteLines(const NSString &text, const NSString &key) {
  bus_.send({path_, bus_names::kClientInterface, bus_names::kNoteLines, text,
             [key](sd_bus_message *message, std::optional<std::string_view> rest) {
               const int result = appendOptionalText(message, rest);
               return result >= 0 ? appendText(message, key.bytes()) : result;
             }});
}

void RemoteClient::noteProgress(const FinderProgress &progress) {
  bus_.sendIfRoom(path_, bus_names::kClientInterface, bus_names::kNoteProgress,
                  [&](sd_bus_message *message) {
                    int result = sd_bus_message_append(message, "ttt", progress.directories,
                                                       progress.entries, progress.records);
                    for (const NSString &path : {progress.path, progress.directory})
                      if (result >= 0)
                        result = appendText(message, path.bytes().substr(0, kLongestProgressPath));
                    return result;
                  });
}

void RemoteClient::noteStopped() {
  bus_.send({path_, bus_names::kClientInterface, bus_names::kNoteStopped, nullptr,
             [](sd_bus_message *, std::optional<std::string_view>) { return 0; }});
}

void RemoteClient::self() {
  bus_.callAndWait(path_, bus_names::kClientInterface, bus_names::kSelf);
}

} // namespace tesker
