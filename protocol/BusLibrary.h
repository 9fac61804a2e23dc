// BusLibrary.h - the functions of the bus library, which is loaded only when it is needed. Internal
// to the connection.
//
// The library brings nearly ten others along, and to load all of them takes longer than many a
// search, so programs are not linked to it. The functions have their own names here, and a call
// within this project is written, and its arguments are checked, as if it went to the library
// itself.
#pragma once

#include <optional>
#include <string>
#include <systemd/sd-bus.h>

namespace tesker {

// Loads the library for the rest of the process's life, unless it is there already. To be called
// before any of its functions. Nothing when it is there, else why it is not, in the dynamic
// loader's words; the next call tries again.
[[nodiscard]] std::optional<std::string> loadBusLibrary();

// All that are used; a further one is written here.
#define TESKER_BUS_FUNCTIONS(each)                                                                 \
  each(sd_bus_add_filter);                                                                         \
  each(sd_bus_add_object_vtable);                                                                  \
  each(sd_bus_call_async);                                                                         \
  each(sd_bus_close);                                                                              \
  each(sd_bus_error_set);                                                                          \
  each(sd_bus_get_events);                                                                         \
  each(sd_bus_get_n_queued_write);                                                                 \
  each(sd_bus_get_timeout);                                                                        \
  each(sd_bus_is_open);                                                                            \
  each(sd_bus_is_ready);                                                                           \
  each(sd_bus_message_append);                                                                     \
  each(sd_bus_message_append_array);                                                               \
  each(sd_bus_message_at_end);                                                                     \
  each(sd_bus_message_close_container);                                                            \
  each(sd_bus_message_enter_container);                                                            \
  each(sd_bus_message_exit_container);                                                             \
  each(sd_bus_message_get_interface);                                                              \
  each(sd_bus_message_get_type);                                                                   \
  each(sd_bus_message_new_method_call);                                                            \
  each(sd_bus_message_open_container);                                                             \
  each(sd_bus_message_read);                                                                       \
  each(sd_bus_message_read_array);                                                                 \
  each(sd_bus_message_read_basic);                                                                 \
  each(sd_bus_message_ref);                                                                        \
  each(sd_bus_message_rewind);                                                                     \
  each(sd_bus_message_set_expect_reply);                                                           \
  each(sd_bus_message_unref);                                                                      \
  each(sd_bus_negotiate_fds);                                                                      \
  each(sd_bus_new);                                                                                \
  each(sd_bus_process);                                                                            \
  each(sd_bus_ref);                                                                                \
  each(sd_bus_reply_method_errorf);                                                                \
  each(sd_bus_reply_method_return);                                                                \
  each(sd_bus_send);                                                                               \
  each(sd_bus_set_anonymous);                                                                      \
  each(sd_bus_set_fd);                                                                             \
  each(sd_bus_set_server);                                                                         \
  each(sd_bus_set_trusted);                                                                        \
  each(sd_bus_slot_unref);                                                                         \
  each(sd_bus_start);                                                                              \
  each(sd_bus_unref);                                                                              \
  each(sd_id128_randomize)

#define TESKER_DECLARE(function) extern decltype(&::function) function
TESKER_BUS_FUNCTIONS(TESKER_DECLARE);
#undef TESKER_DECLARE

// Tables of methods refer to it, for a linker to see which form they have; it is never read.
inline constexpr unsigned sd_bus_object_vtable_format = 242;

} // namespace tesker
