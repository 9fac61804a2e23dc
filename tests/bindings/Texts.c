#include "tests/bindings/Texts.h"

static const gsize kLargestPiece = 16 << 20;

GVariant *text_argument(GBytes *text) {
  return g_variant_new_from_bytes(G_VARIANT_TYPE_BYTESTRING, text, TRUE);
}

GVariant *optional_text_argument(GBytes *text, TeskerConnection *other_side) {
  if (text == NULL)
    return g_variant_new_array(G_VARIANT_TYPE_BYTESTRING, NULL, 0);
  gsize sent = 0, size = g_bytes_get_size(text);
  for (; size - sent > kLargestPiece; sent += kLargestPiece) {
    g_autoptr(GBytes) piece = g_bytes_new_from_bytes(text, sent, kLargestPiece);
    tesker_connection_call_carry(other_side, text_argument(piece), NULL, NULL, NULL);
  }
  g_autoptr(GBytes) rest = g_bytes_new_from_bytes(text, sent, size - sent);
  GVariant *element = text_argument(rest);
  return g_variant_new_array(G_VARIANT_TYPE_BYTESTRING, &element, 1);
}

static gboolean on_carry(TeskerConnection *here, GDBusMethodInvocation *call, GVariant *piece,
                         gpointer data) {
  GByteArray **carried = data;
  gsize size = 0;
  const guint8 *bytes = g_variant_get_fixed_array(piece, &size, 1);
  if (*carried == NULL)
    *carried = g_byte_array_new();
  g_byte_array_append(*carried, bytes, (guint)size);
  tesker_connection_complete_carry(here, call);
  return TRUE;
}

TeskerConnection *serve_carrying(GDBusConnection *connection, GByteArray **carried) {
  TeskerConnection *here = tesker_connection_skeleton_new();
  g_signal_connect(here, "handle-carry", G_CALLBACK(on_carry), carried);
  if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(here), connection, "/", NULL))
    g_error("the connection cannot be served");
  return here;
}

GBytes *whole_text(GVariant *argument, GByteArray **carried) {
  g_autoptr(GVariant) own =
      g_variant_n_children(argument) > 0 ? g_variant_get_child_value(argument, 0) : NULL;
  if (*carried == NULL)
    return own != NULL ? g_variant_get_data_as_bytes(own) : NULL;
  gsize size = 0;
  const guint8 *bytes = own != NULL ? g_variant_get_fixed_array(own, &size, 1) : NULL;
  g_byte_array_append(*carried, bytes, (guint)size);
  return g_byte_array_free_to_bytes(g_steal_pointer(carried));
}
