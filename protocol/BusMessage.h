// BusMessage.h - texts in and out of D-Bus messages. Internal to the connection.
//
// A string is an array of bytes without a terminator; one that may be nil is an array of none or
// one of those. What is appended answers as the bus library does: negative errno on failure.
#pragma once

#include "platform/foundation/Result.h"
#include "protocol/BusLibrary.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tesker {

inline void unrefBusObject(sd_bus *bus) { sd_bus_unref(bus); }
inline void unrefBusObject(sd_bus_message *message) { sd_bus_message_unref(message); }
inline void unrefBusObject(sd_bus_slot *slot) { sd_bus_slot_unref(slot); }

// Owns one reference to an object of the bus library, or none; is passed to it as it is.
template <class T> class BusRef {
public:
  BusRef() = default;
  explicit BusRef(T *object) : object_(object) {}
  BusRef(BusRef &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  BusRef &operator=(BusRef &&other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  BusRef(const BusRef &) = delete;
  BusRef &operator=(const BusRef &) = delete;
  ~BusRef() {
    if (object_ != nullptr)
      unrefBusObject(object_);
  }
  operator T *() const { return object_; }

private:
  T *object_ = nullptr;
};

// A method call that is still to be filled; none when the bus library refuses.
[[nodiscard]] BusRef<sd_bus_message> newCall(sd_bus *bus, const char *path, const char *interface,
                                             const char *member);

[[nodiscard]] int appendText(sd_bus_message *message, std::string_view text);
[[nodiscard]] int appendOptionalText(sd_bus_message *message, std::optional<std::string_view> text);

// The next argument, of a message in either byte order. Fail with the errno, EINVAL when there is
// more than one element where none or one may stand.
[[nodiscard]] Result<std::string> readText(sd_bus_message *message);
// The same, of no more than so many bytes; fails with EMSGSIZE when there are more.
[[nodiscard]] Result<std::string> readShortText(sd_bus_message *message, std::size_t longest);
[[nodiscard]] Result<std::optional<std::string>> readOptionalText(sd_bus_message *message);

} // namespace tesker
