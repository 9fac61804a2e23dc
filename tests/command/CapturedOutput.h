// CapturedOutput.h - what an Output writes, as bytes.
#pragma once

#include "command/Output.h"
#include "platform/foundation/Files.h"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace tesker::test {

// The bytes that the function writes to the output that it is called with.
template <class Function> std::string captured(const Function &write) {
  const FileDescriptor file(::memfd_create("output", MFD_CLOEXEC));
  Output output(file.number());
  write(output);
  output.flush();
  std::string bytes(static_cast<std::size_t>(::lseek(file.number(), 0, SEEK_END)), '\0');
  const ssize_t count = ::pread(file.number(), bytes.data(), bytes.size(), 0);
  return output.error() == 0 && count == static_cast<ssize_t>(bytes.size()) ? bytes : "no output";
}

} // namespace tesker::test
