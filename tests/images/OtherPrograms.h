// OtherPrograms.h - running other programs on files, and reading the same files ourselves.
#pragma once

#include "tests/support/MachOBuilder.h"

#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace tesker::test {

struct Outcome {
  int status;
  std::string output; // standard output and standard error
};

// Runs a command of the shell; arguments in it have to be quoted.
inline Outcome run(const std::string &command) {
  FILE *pipe = ::popen((command + " 2>&1 </dev/null").c_str(), "re");
  std::string output;
  char buffer[4096];
  while (const std::size_t got = std::fread(buffer, 1, sizeof(buffer), pipe))
    output.append(buffer, got);
  const int status = ::pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

inline std::string quoted(const std::string &text) { return "'" + text + "'"; }

// A section of the file's segment __ICON.
inline std::string fileText(const std::string &path, const char *section = "__header") {
  auto image = openImage(path);
  return image ? sectionText(*image, "__ICON", section) : "(no image)";
}

} // namespace tesker::test
