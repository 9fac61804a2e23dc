// ErrorTexts.h - how failures are shown and reported.
#pragma once

#include "platform/foundation/NSString.h"

#include <initializer_list>
#include <string_view>

namespace tesker {

// The text to show for the current errno: the system's own, translated by the resource "errno" of
// type "strings" of the main bundle. "Unknown error" for a number that the C library has no text
// for. A missing resource or entry is logged once.
[[nodiscard]] NSString TeskerErrno();

// Logs a broken assumption; the caller carries on. The message is a format, see NSLog.h.
void TeskerBug(std::string_view message, std::initializer_list<std::string_view> arguments = {});

// The name of the exception that _ERROR raises.
inline constexpr const char *TeskerGenericFilerException = "TeskerGenericFilerException";
// Raises TeskerGenericFilerException with the reason.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the layer's users know it by.
[[noreturn]] void _ERROR(const NSString &reason);

} // namespace tesker
