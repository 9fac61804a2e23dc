#include "command/Commands.h"

#include <algorithm>
#include <cstring>

namespace tesker {

ExitStatus runCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  ExitStatus status = kDone;
  switch (arguments.command) {
  case Arguments::Command::list:
  case Arguments::Command::dock:
    status = searchCommand(arguments, output, diagnostics);
    break;
  case Arguments::Command::decode:
    status = decodeCommand(arguments, output, diagnostics);
    break;
  case Arguments::Command::encode:
    status = encodeCommand(arguments, output, diagnostics);
    break;
  }
  return status;
}

ExitStatus statusWithOutput(ExitStatus status, Output &output, Diagnostics &diagnostics) {
  output.flush();
  if (output.error() == 0)
    return status;
  diagnostics.error(std::string("standard output: ") + std::strerror(output.error()));
  return std::max(status, kFailed);
}

} // namespace tesker
