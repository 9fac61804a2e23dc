// ConfinedChild.h - work on hostile files, done where it can do no harm.
//
// What looks into files for this command does so in a forked child, which is confined as the tool
// is (finding/Confinement.h), has a deadline, and can only write messages to its parent. Should it
// crash, hang or run out of memory, that is said, and what it has told before is kept.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// Sends a message of any bytes to the parent.
using SendMessage = std::function<void(std::string_view message)>;

// Runs the work in a child, and calls take with each message in the order in which they were sent.
// Nothing when the child came to its end; else why not, as a phrase: "timed out", "out of memory",
// "signal 9 (Killed)". Log lines of the child go nowhere. SIGINT, SIGTERM and SIGHUP end the child,
// and then this process as they always do. Where take raises, the child is ended and that passes.
[[nodiscard]] std::optional<std::string>
runConfined(std::chrono::nanoseconds timeout, const std::function<void(const SendMessage &)> &work,
            const std::function<void(std::string_view message)> &take);

} // namespace tesker
