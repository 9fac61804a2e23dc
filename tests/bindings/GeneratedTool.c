// GeneratedTool.c - a tool in C, over the code that gdbus-codegen makes.
//
// It searches nothing: its answer is the file that $GENERATED_ANSWER names, or nil when that is the
// previous text. What it was asked is left in the directory $GENERATED_ASKED, in the files
// "argument" and, unless it was nil, "previous".

#define _GNU_SOURCE
#include "tests/bindings/Channels.h"
#include "tests/bindings/Texts.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

typedef struct {
  GDBusConnection *connection;
  GMainLoop *loop;
  GByteArray *carried;
} Tool;

static int connect_to_master(void) {
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  g_snprintf(address.sun_path, sizeof address.sun_path, "%s/Miniapp_boot_port",
             g_getenv("TESKER_BOOTSTRAP_DIR"));
  const int service = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (connect(service, (struct sockaddr *)&address, sizeof address) != 0)
    g_error("%s: %s", address.sun_path, g_strerror(errno));
  return service;
}

static GDBusConnection *join_master(int service) {
  g_autoptr(GError) error = NULL;
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0 ||
      !send_port(service, 78, pair[1]))
    g_error("the hand-over has failed");
  close(pair[1]);
  const int writing = receive_port(pair[0], 79);
  if (writing < 0)
    g_error("the hand-over is not answered");
  GDBusConnection *connection = connection_over(pair[0], writing, NULL, &error);
  if (connection == NULL)
    g_error("%s", error->message);
  return connection;
}

static void leave(const char *name, GBytes *text) {
  g_autofree gchar *file = g_build_filename(g_getenv("GENERATED_ASKED"), name, NULL);
  const gssize size = (gssize)g_bytes_get_size(text);
  if (!g_file_set_contents(file, g_bytes_get_data(text, NULL), size, NULL))
    g_error("%s cannot be written", file);
}

static GBytes *answer_to(GBytes *previous) {
  g_autoptr(GError) error = NULL;
  gchar *bytes = NULL;
  gsize size = 0;
  if (!g_file_get_contents(g_getenv("GENERATED_ANSWER"), &bytes, &size, &error))
    g_error("%s", error->message);
  g_autoptr(GBytes) answer = g_bytes_new_take(bytes, size);
  const gboolean is_same = previous != NULL && g_bytes_equal(previous, answer);
  return is_same ? NULL : g_steal_pointer(&answer);
}

static void tell(Tool *tool, const char *path, GBytes *answer, GBytes *key) {
  g_autoptr(GError) error = NULL;
  g_autofree gchar *itself = NULL;
  const GDBusProxyFlags plain =
      G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS;
  g_autoptr(TeskerClient) client =
      tesker_client_proxy_new_sync(tool->connection, plain, NULL, path, NULL, NULL);
  g_autoptr(TeskerConnection) other_side =
      tesker_connection_proxy_new_sync(tool->connection, plain, NULL, "/", NULL, NULL);
  tesker_client_call_note_lines_for_(client, optional_text_argument(answer, other_side),
                                     text_argument(key), NULL, NULL, NULL);
  g_dbus_proxy_set_default_timeout(G_DBUS_PROXY(client), G_MAXINT); // for self: without a limit
  if (!tesker_client_call_self_sync(client, &itself, NULL, &error))
    g_error("%s", error->message);
  g_assert_cmpstr(itself, ==, path);
}

static void serve(Tool *tool, GVariant *argument, GVariant *previous, const char *client,
                  gboolean is_dock) {
  g_autoptr(GBytes) asked = g_variant_get_data_as_bytes(argument);
  g_autoptr(GBytes) last = whole_text(previous, &tool->carried);
  leave("argument", asked);
  if (last != NULL)
    leave("previous", last);
  g_autoptr(GBytes) answer = answer_to(last);
  g_autoptr(GBytes) dock = g_bytes_new_static("Dock", 4);
  tell(tool, client, answer, is_dock ? dock : asked);
  g_main_loop_quit(tool->loop);
}

static gboolean on_find_in_search_path(TeskerToolFinder *finder, GDBusMethodInvocation *call,
                                       GVariant *path, GVariant *previous, const gchar *client,
                                       gpointer tool) {
  tesker_tool_finder_complete_find_apps_in_search_path_previous_for_(finder, g_object_ref(call));
  serve(tool, path, previous, client, FALSE);
  g_object_unref(call);
  return TRUE;
}

static gboolean on_find_for_dock_paths(TeskerToolFinder *finder, GDBusMethodInvocation *call,
                                       GVariant *paths, GVariant *previous, const gchar *client,
                                       gpointer tool) {
  tesker_tool_finder_complete_find_apps_for_dock_paths_previous_for_(finder, g_object_ref(call));
  serve(tool, paths, previous, client, TRUE);
  g_object_unref(call);
  return TRUE;
}

int main(void) {
  const int service = connect_to_master(); // stays open
  Tool tool = {.connection = join_master(service), .loop = g_main_loop_new(NULL, FALSE)};
  g_autoptr(TeskerToolFinder) finder = tesker_tool_finder_skeleton_new();
  g_signal_connect(finder, "handle-find-apps-in-search-path-previous-for-",
                   G_CALLBACK(on_find_in_search_path), &tool);
  g_signal_connect(finder, "handle-find-apps-for-dock-paths-previous-for-",
                   G_CALLBACK(on_find_for_dock_paths), &tool);
  if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(finder), tool.connection, "/",
                                        NULL))
    g_error("the requests cannot be served");
  TeskerConnection *here = serve_carrying(tool.connection, &tool.carried);
  g_signal_connect_swapped(tool.connection, "closed", G_CALLBACK(g_main_loop_quit), tool.loop);
  g_dbus_connection_start_message_processing(tool.connection);
  g_main_loop_run(tool.loop);
  g_main_loop_unref(tool.loop);
  g_object_unref(here);
  g_object_unref(tool.connection);
  return 0;
}
