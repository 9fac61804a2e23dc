// Launch.h - programs that are started for a person and go on by themselves.
#pragma once

#include "platform/foundation/Deadline.h"
#include "platform/foundation/Result.h"

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tesker {

// Starts the program, an absolute path, with these arguments behind its name: in a session of its
// own, with nothing on its standard descriptors, in the working directory of this process. Answers
// its process once it is executed. Fails with the errno of what keeps it from being; EINVAL when
// the path is not absolute, ETIMEDOUT when it is not known by the deadline, and the child is ended.
[[nodiscard]] Result<pid_t> startDetached(const std::string &program,
                                          const std::vector<std::string> &arguments,
                                          const Deadline &deadline);

// The program and its arguments as a line for a shell. Nothing in it drives a terminal: words with
// other characters than plain ones are quoted, and unprintable bytes written as $'\033'.
[[nodiscard]] std::string shellLine(const std::string &program,
                                    const std::vector<std::string> &arguments);

} // namespace tesker
