// GeneratedMaster.c - a master in C, over the code that gdbus-codegen makes.
//
//   tesker-generated-master TOOL search|dock ARGUMENT [PREVIOUS]
//
// ARGUMENT and PREVIOUS are files: what is asked for, and the text of the last answer. Prints the
// answer's text, byte for byte, or exits with 1 when it is nil.

#define _GNU_SOURCE
#include "tests/bindings/Channels.h"
#include "tests/bindings/Texts.h"

#include <glib/gstdio.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static const char kClient[] = "/the/client";

typedef struct {
  GSubprocess *tool;
  int sign_of_life; // open until this process ends
  GDBusConnection *connection;
  GMainLoop *loop;
  GByteArray *carried;
  GBytes *asked, *expected_key, *answer;
  int answers, selves, progress;
} Master;

static GBytes *contents_of(const char *file) {
  g_autoptr(GError) error = NULL;
  gchar *bytes = NULL;
  gsize size = 0;
  if (!g_file_get_contents(file, &bytes, &size, &error))
    g_error("%s", error->message);
  return g_bytes_new_take(bytes, size);
}

static void start_tool(Master *master, const char *program) {
  g_autoptr(GError) error = NULL;
  g_autofree gchar *directory = g_dir_make_tmp("tesker-XXXXXX", NULL); // with mode 0700
  g_autofree gchar *name = g_build_filename(directory, "Miniapp_boot_port", NULL);
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  g_strlcpy(address.sun_path, name, sizeof address.sun_path);
  const int service = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (bind(service, (struct sockaddr *)&address, sizeof address) != 0 || listen(service, 1) != 0)
    g_error("%s: %s", name, g_strerror(errno));

  g_autoptr(GSubprocessLauncher) launcher = g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE);
  g_subprocess_launcher_setenv(launcher, "TESKER_BOOTSTRAP_DIR", directory, TRUE);
  g_subprocess_launcher_setenv(launcher, "TESKER_PROGRESS", "1", TRUE);
  master->tool = g_subprocess_launcher_spawn(launcher, &error, program, NULL);
  if (master->tool == NULL)
    g_error("%s", error->message);
  master->sign_of_life = accept4(service, NULL, NULL, SOCK_CLOEXEC);
  close(service);
  g_unlink(name);
  g_rmdir(directory);
}

static GDBusConnection *join(int accepted, GError **error) {
  g_autofree gchar *guid = g_dbus_generate_guid();
  int pair[2] = {-1, -1};
  const int writing = receive_port(accepted, 78);
  const gboolean has_joined = writing >= 0 &&
                              socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0 &&
                              send_port(writing, 79, pair[1]);
  close(pair[1]);
  if (has_joined)
    return connection_over(pair[0], writing, guid, error);
  close(pair[0]);
  close(writing);
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_FAILED, "The hand-over has failed");
  return NULL;
}

static gboolean on_note_lines(TeskerClient *client, GDBusMethodInvocation *call, GVariant *text,
                              GVariant *key, gpointer data) {
  Master *master = data;
  g_autoptr(GBytes) given = g_variant_get_data_as_bytes(key);
  g_assert_true(g_bytes_equal(given, master->expected_key));
  master->answer = whole_text(text, &master->carried);
  ++master->answers;
  tesker_client_complete_note_lines_for_(client, call);
  return TRUE;
}

static gboolean on_note_progress(TeskerClient *client, GDBusMethodInvocation *call,
                                 guint64 directories, guint64 entries, guint64 records,
                                 GVariant *path, GVariant *directory, gpointer data) {
  Master *master = data;
  g_autoptr(GBytes) searched = g_variant_get_data_as_bytes(path);
  (void)directories, (void)entries, (void)records, (void)directory;
  if (g_bytes_equal(searched, master->asked))
    ++master->progress;
  tesker_client_complete_note_progress(client, call);
  return TRUE;
}

static gboolean on_self(TeskerClient *client, GDBusMethodInvocation *call, gpointer data) {
  Master *master = data;
  ++master->selves;
  tesker_client_complete_self(client, call, kClient);
  return TRUE;
}

static TeskerClient *serve_client(Master *master) {
  TeskerClient *client = tesker_client_skeleton_new();
  g_signal_connect(client, "handle-note-lines-for-", G_CALLBACK(on_note_lines), master);
  g_signal_connect(client, "handle-note-progress", G_CALLBACK(on_note_progress), master);
  g_signal_connect(client, "handle-self", G_CALLBACK(on_self), master);
  if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(client), master->connection,
                                        kClient, NULL))
    g_error("the client cannot be served");
  return client;
}

static void ask(Master *master, gboolean is_dock, GBytes *previous) {
  const GDBusProxyFlags plain =
      G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS;
  g_autoptr(TeskerToolFinder) tool =
      tesker_tool_finder_proxy_new_sync(master->connection, plain, NULL, "/", NULL, NULL);
  g_autoptr(TeskerConnection) other_side =
      tesker_connection_proxy_new_sync(master->connection, plain, NULL, "/", NULL, NULL);
  GVariant *paths = text_argument(master->asked);
  GVariant *last = optional_text_argument(previous, other_side);
  if (is_dock)
    tesker_tool_finder_call_find_apps_for_dock_paths_previous_for_(tool, paths, last, kClient, NULL,
                                                                   NULL, NULL);
  else
    tesker_tool_finder_call_find_apps_in_search_path_previous_for_(tool, paths, last, kClient, NULL,
                                                                   NULL, NULL);
}

static void serve_to_the_end(Master *master) {
  master->loop = g_main_loop_new(NULL, FALSE);
  g_signal_connect_swapped(master->connection, "closed", G_CALLBACK(g_main_loop_quit),
                           master->loop);
  if (!g_dbus_connection_is_closed(master->connection))
    g_main_loop_run(master->loop);
  g_subprocess_wait(master->tool, NULL, NULL);
  g_assert_cmpint(g_subprocess_get_exit_status(master->tool), ==, 0);
  g_assert_cmpint(master->answers, ==, 1);
  g_assert_cmpint(master->selves, ==, 1);
  g_main_loop_unref(master->loop);
}

int main(int argc, char **argv) {
  if (argc < 4 || argc > 5)
    g_error("usage: %s TOOL search|dock ARGUMENT [PREVIOUS]", argv[0]);
  const gboolean is_dock = strcmp(argv[2], "dock") == 0;
  g_autoptr(GBytes) asked = contents_of(argv[3]);
  g_autoptr(GBytes) previous = argc > 4 ? contents_of(argv[4]) : NULL;
  g_autoptr(GBytes) dock = g_bytes_new_static("Dock", 4);
  Master master = {.asked = asked, .expected_key = is_dock ? dock : asked};

  start_tool(&master, argv[1]);
  g_autoptr(GError) error = NULL;
  master.connection = join(master.sign_of_life, &error);
  if (master.connection == NULL)
    g_error("%s", error->message);
  TeskerClient *client = serve_client(&master);
  TeskerConnection *here = serve_carrying(master.connection, &master.carried);
  g_dbus_connection_start_message_processing(master.connection);
  ask(&master, is_dock, previous);
  serve_to_the_end(&master);
  if (!is_dock)
    g_assert_cmpint(master.progress, >, 0);

  const int status = master.answer == NULL ? 1 : 0;
  if (master.answer != NULL)
    fwrite(g_bytes_get_data(master.answer, NULL), 1, g_bytes_get_size(master.answer), stdout);
  g_clear_pointer(&master.answer, g_bytes_unref);
  g_object_unref(client);
  g_object_unref(here);
  g_object_unref(master.connection);
  g_object_unref(master.tool);
  return status;
}
