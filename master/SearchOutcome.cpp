#include "master/SearchOutcome.h"

#include <cstring>

namespace tesker {

std::string describe(SearchStage stage) {
  switch (stage) {
  case SearchStage::handOver:
    return "before the hand-over";
  case SearchStage::search:
    return "during the search";
  case SearchStage::end:
    break;
  }
  return "after its answer";
}

std::string describe(const ToolEnd &end) {
  switch (end.kind) {
  case ToolEnd::Kind::exited:
    return "exit status " + std::to_string(end.value);
  case ToolEnd::Kind::killed:
    return "signal " + std::to_string(end.value) + " (" + ::strsignal(end.value) + ")";
  case ToolEnd::Kind::unknown:
    break;
  }
  return "exit status unknown";
}

} // namespace tesker
