// AskTool.cpp - tesker-ask-tool TOOL PATH: the least master there is. It asks the tool once, throws
// the answer away, and prints what that took as one JSON object: "wall", the seconds until the
// answer was there and the tool gone, the tool's own "user" and "system" seconds and "peak_kib",
// and the number of "records". Exit status: 0 with an answer, 1 without, 2 for a wrong command
// line.
#include "master/FinderMaster.h"

#include <chrono>
#include <cstdio>
#include <string_view>
#include <sys/resource.h>
#include <variant>

namespace tesker::benchmarks {

namespace {

double seconds(timeval time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

int askTool(const char *tool, std::string_view path) {
  const FinderMaster master({.tool = tool, .timeout = std::chrono::hours(1)});
  const auto start = std::chrono::steady_clock::now();
  const SearchOutcome outcome = master.findAppsInSearchPath(path);
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  if (const auto *failure = std::get_if<SearchFailure>(&outcome.result)) {
    std::fprintf(stderr, "tesker-ask-tool: %s\n", failure->reason.c_str());
    return 1;
  }
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  std::printf("{\"wall\": %.6f, \"user\": %.6f, \"system\": %.6f, \"peak_kib\": %ld, "
              "\"records\": %zu, \"status\": 0}\n",
              wall.count(), seconds(usage.ru_utime), seconds(usage.ru_stime), usage.ru_maxrss,
              std::get<SearchAnswer>(outcome.result).records.size());
  return 0;
}

} // namespace

} // namespace tesker::benchmarks

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fputs("usage: tesker-ask-tool TOOL PATH\n", stderr);
    return 2;
  }
  return tesker::benchmarks::askTool(argv[1], argv[2]);
}
