#include "protocol/RemoteObjects.h"

#include "platform/foundation/NSException.h"
#include "protocol/FinderNames.h"

namespace tesker {

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

void RemoteClient::self() {
  bus_.callAndWait(path_, bus_names::kClientInterface, bus_names::kSelf);
}

} // namespace tesker
