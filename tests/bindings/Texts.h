// Texts.h - texts in the arguments of the generated calls, those that are carried ahead too.
//
// A text is GBytes, as a GVariant an array of bytes. One that may be nil is NULL where it is nil,
// as a GVariant an array of none or one of those.
#pragma once

#include <ToolFinderBindings.h>

// Floating, as the generated calls take their arguments.
GVariant *text_argument(GBytes *text);

// The same for a text that may be nil. What is too long for one message is sent ahead to the
// connection object of the other side.
GVariant *optional_text_argument(GBytes *text, TeskerConnection *other_side);

// Serves the connection object of this side. What is carried to it is kept in *carried, which is
// NULL until there is something, for the text that continues it.
TeskerConnection *serve_carrying(GDBusConnection *connection, GByteArray **carried);

// The text of an argument that may be nil, behind what was carried, which is nothing afterwards.
GBytes *whole_text(GVariant *argument, GByteArray **carried);
