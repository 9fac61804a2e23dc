#define _GNU_SOURCE
#include "tests/bindings/Channels.h"

#include <gio/gunixinputstream.h>
#include <gio/gunixoutputstream.h>
#include <glib-unix.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

typedef struct {
  guint32 words[8];
  struct iovec bytes;
  _Alignas(struct cmsghdr) char carried[CMSG_SPACE(sizeof(int))];
  struct msghdr header;
} Message;

static void prepare(Message *message) {
  message->bytes = (struct iovec){message->words, sizeof message->words};
  message->header = (struct msghdr){.msg_iov = &message->bytes,
                                    .msg_iovlen = 1,
                                    .msg_control = message->carried,
                                    .msg_controllen = CMSG_LEN(sizeof(int))}; // room for one
}

gboolean send_port(int channel, guint32 number, int port) {
  Message message = {.words = {0, 32, 0, 1, 0, number, 0x10012006, 2}};
  for (int i = 0; i < 8; ++i)
    message.words[i] = GUINT32_TO_LE(message.words[i]);
  prepare(&message);
  struct cmsghdr *carried = CMSG_FIRSTHDR(&message.header);
  carried->cmsg_len = CMSG_LEN(sizeof port);
  carried->cmsg_level = SOL_SOCKET;
  carried->cmsg_type = SCM_RIGHTS;
  memcpy(CMSG_DATA(carried), &port, sizeof port);
  return sendmsg(channel, &message.header, MSG_NOSIGNAL) == sizeof message.words;
}

int receive_port(int channel, guint32 number) {
  Message message = {0};
  prepare(&message);
  const ssize_t size = recvmsg(channel, &message.header, MSG_CMSG_CLOEXEC | MSG_WAITALL);
  const struct cmsghdr *carried = size < 0 ? NULL : CMSG_FIRSTHDR(&message.header);
  if (carried == NULL || carried->cmsg_type != SCM_RIGHTS)
    return -1;
  int port;
  memcpy(&port, CMSG_DATA(carried), sizeof port);
  if (size == sizeof message.words && message.words[5] == GUINT32_TO_LE(number) &&
      (message.header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0)
    return port;
  close(port);
  return -1;
}

GDBusConnection *connection_over(int reading, int writing, const gchar *guid, GError **error) {
  const GDBusConnectionFlags side = guid != NULL
                                        ? G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER |
                                              G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_ALLOW_ANONYMOUS
                                        : G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT;
  g_unix_set_fd_nonblocking(reading, TRUE, NULL); // a long text that is being written
  g_unix_set_fd_nonblocking(writing, TRUE, NULL); // must not keep this side from reading
  g_autoptr(GInputStream) input = g_unix_input_stream_new(reading, TRUE);
  g_autoptr(GOutputStream) output = g_unix_output_stream_new(writing, TRUE);
  g_autoptr(GIOStream) channels = g_simple_io_stream_new(input, output);
  return g_dbus_connection_new_sync(
      channels, guid, side | G_DBUS_CONNECTION_FLAGS_DELAY_MESSAGE_PROCESSING, NULL, NULL, error);
}
