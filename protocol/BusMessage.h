// BusMessage.h - texts in and out of D-Bus messages. Internal to the connection.
//
// A string is an array of bytes without a terminator; one that may be nil is an array of none or
// one of those. Functions that can fail answer as the bus library does: negative errno.
#pragma once

#include "platform/foundation/NSString.h"

#include <memory>
#include <optional>
#include <string_view>
#include <systemd/sd-bus.h>

namespace tesker {

struct BusUnref {
  void operator()(sd_bus *bus) const { sd_bus_unref(bus); }
  void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
  void operator()(sd_bus_slot *slot) const { sd_bus_slot_unref(slot); }
};
template <class T> using BusPtr = std::unique_ptr<T, BusUnref>;

// What the members are called on the bus.
namespace bus_names {
inline constexpr const char *kRootPath = "/";
inline constexpr const char *kToolInterface = "Tesker.ToolFinder";
inline constexpr const char *kFindInSearchPath = "findAppsInSearchPath_previous_for_";
inline constexpr const char *kFindForDockPaths = "findAppsForDockPaths_previous_for_";
inline constexpr const char *kClientInterface = "Tesker.Client";
inline constexpr const char *kNoteLines = "noteLines_for_";
inline constexpr const char *kSelf = "self";
inline constexpr const char *kConnectionInterface = "Tesker.Connection";
inline constexpr const char *kCarry = "carry";
} // namespace bus_names

// A method call that is still to be filled; nil when the bus library refuses.
[[nodiscard]] BusPtr<sd_bus_message> newCall(sd_bus *bus, const char *path, const char *interface,
                                             const char *member);

[[nodiscard]] int appendText(sd_bus_message *message, std::string_view text);
[[nodiscard]] int appendOptionalText(sd_bus_message *message, std::optional<std::string_view> text);

// The text lies in the message.
[[nodiscard]] int readText(sd_bus_message *message, std::string_view &text);
// Answers -EINVAL when there is more than one element.
[[nodiscard]] int readOptionalText(sd_bus_message *message, std::optional<std::string_view> &text);

} // namespace tesker
