// Channels.h - the two channels between a tool and its master, in C and with GLib.
#pragma once

#include <gio/gio.h>

// Sends the message of this number, with one descriptor, which stays the caller's. False when it
// cannot be sent.
gboolean send_port(int channel, guint32 number, int port);

// Waits for the next message. The descriptor that it brought, for the caller to close; -1 when it
// is not a message of this number.
int receive_port(int channel, guint32 number);

// The connection over the channel to read from and the one to write to; takes both over, and waits
// for the other side. guid: what g_dbus_generate_guid() makes on the master's side, NULL on the
// tool's. What comes is kept until g_dbus_connection_start_message_processing(). NULL and the error
// when the two do not agree.
GDBusConnection *connection_over(int reading, int writing, const gchar *guid, GError **error);
