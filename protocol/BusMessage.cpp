#include "protocol/BusMessage.h"

#include <cerrno>
#include <cstdint>
#include <limits>

namespace tesker {

namespace {

// The array's bytes one by one: whole arrays the library gives only of messages in the machine's
// own byte order.
Result<std::string> readBytes(sd_bus_message *message, std::size_t longest) {
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "y");
  if (result < 0)
    return Failure{-result};
  std::string text;
  std::uint8_t byte = 0;
  while ((result = sd_bus_message_read_basic(message, SD_BUS_TYPE_BYTE, &byte)) > 0) {
    if (text.size() == longest)
      return Failure{EMSGSIZE};
    text += static_cast<char>(byte);
  }
  if (result >= 0)
    result = sd_bus_message_exit_container(message);
  if (result < 0)
    return Failure{-result};
  return text;
}

} // namespace

BusRef<sd_bus_message> newCall(sd_bus *bus, const char *path, const char *interface,
                               const char *member) {
  sd_bus_message *message = nullptr;
  (void)sd_bus_message_new_method_call(bus, &message, nullptr, path, interface, member);
  return BusRef(message);
}

int appendText(sd_bus_message *message, std::string_view text) {
  return sd_bus_message_append_array(message, SD_BUS_TYPE_BYTE, text.data(), text.size());
}

int appendOptionalText(sd_bus_message *message, std::optional<std::string_view> text) {
  int result = sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "ay");
  if (result >= 0 && text)
    result = appendText(message, *text);
  return result >= 0 ? sd_bus_message_close_container(message) : result;
}

Result<std::string> readText(sd_bus_message *message) {
  return readShortText(message, std::numeric_limits<std::size_t>::max());
}

Result<std::string> readShortText(sd_bus_message *message, std::size_t longest) {
  const void *bytes = nullptr;
  std::size_t size = 0;
  const int result = sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size);
  if (result == -EOPNOTSUPP)
    return readBytes(message, longest);
  if (result < 0)
    return Failure{-result};
  if (size > longest)
    return Failure{EMSGSIZE};
  return std::string(static_cast<const char *>(bytes), size);
}

Result<std::optional<std::string>> readOptionalText(sd_bus_message *message) {
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "ay");
  if (result < 0)
    return Failure{-result};
  std::optional<std::string> text;
  if (sd_bus_message_at_end(message, false) == 0) {
    Result<std::string> element = readText(message);
    if (!element)
      return element.failure();
    text = std::move(*element);
  }
  if (sd_bus_message_at_end(message, false) == 0)
    return Failure{EINVAL};
  result = sd_bus_message_exit_container(message);
  if (result < 0)
    return Failure{-result};
  return text;
}

} // namespace tesker
