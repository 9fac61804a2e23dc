// FinderMasterOptions.h - what a search is to be like.
#pragma once

#include "master/SearchOutcome.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace tesker {

// The program that reads ahead, where it is installed: beside the tool, whose path is given.
[[nodiscard]] inline std::string readAheadBeside(std::string_view tool) {
  return std::string(tool.substr(0, tool.rfind('/') + 1)) + "tesker-read-ahead";
}

struct FinderMasterOptions {
  // The tool's program, a path.
  std::string tool;
  // The processor to search for, as TESKER_HOST_CPU takes it; empty: as the environment says.
  std::string cpu = {};
  // For one search, from its beginning to the tool's end.
  std::chrono::nanoseconds timeout = std::chrono::seconds(120);
  // A descriptor that becomes readable when FinderMaster is to stop a search, and so to give it up
  // where partial answers are not taken; borrowed. -1: none. FinderSearch has stop() and cancel().
  int cancelDescriptor = -1;
  // Called with each line (bytes, without line feed) of the tool's log as it comes; may be empty.
  std::function<void(std::string_view)> onLogLine = {};
  // Whether the tool also logs, in one line, what it has given up before it searches;
  // SearchOutcome::confinement then has what it says.
  bool logConfinement = false;
  // The program that reads ahead of a tool that waits for its disk or server, a path: see
  // readAheadBeside. Started at most once in a search, 10 milliseconds after
  // the request at the earliest, and gone before the search ends. It changes no answer, and its
  // failure is not told. It has eight threads and 19 descriptors, this process three descriptors
  // for it. Empty: nothing is read ahead. TESKER_READ_AHEAD in the environment overrides it:
  // `never`, or `always`, which is at once and where it is empty the program beside the tool.
  std::string readAhead = {};
  // Whether the tool enters a directory that it is in already, through a link that leads back,
  // until the system refuses the path.
  bool followLinkCycles = false;
  // Whether a search that is stopped, or not done at its deadline, ends with what was found until
  // then; SearchOutcome::cut then says why. The tool has two seconds more to hand that over. A tool
  // that does not know of this ends without an answer, as it does before it is connected.
  bool takesPartialAnswers = false;
  // Called, ten times a second at most, with what the tool has told last of how far it has come,
  // from the first time on that it has; may be empty, then the tool is not asked. A tool that does
  // not know of this tells nothing.
  std::function<void(const SearchProgress &)> onProgress = {};
};

} // namespace tesker
