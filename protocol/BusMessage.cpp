#include "protocol/BusMessage.h"

#include <cerrno>

namespace tesker {

BusPtr<sd_bus_message> newCall(sd_bus *bus, const char *path, const char *interface,
                               const char *member) {
  sd_bus_message *message = nullptr;
  if (sd_bus_message_new_method_call(bus, &message, nullptr, path, interface, member) < 0)
    return nullptr;
  return BusPtr<sd_bus_message>(message);
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

int readText(sd_bus_message *message, std::string_view &text) {
  const void *bytes = nullptr;
  std::size_t size = 0;
  const int result = sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size);
  if (result > 0)
    text = {static_cast<const char *>(bytes), size};
  return result;
}

int readOptionalText(sd_bus_message *message, std::optional<std::string_view> &text) {
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "ay");
  if (result < 0)
    return result;
  text.reset();
  std::string_view element;
  result = readText(message, element);
  if (result < 0)
    return result;
  if (result > 0)
    text = element;
  if (sd_bus_message_at_end(message, false) == 0)
    return -EINVAL;
  return sd_bus_message_exit_container(message);
}

} // namespace tesker
