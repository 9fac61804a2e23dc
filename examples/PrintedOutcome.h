// PrintedOutcome.h - what the examples of searches print at the end.
#pragma once

#include "master/SearchOutcome.h"

#include <cstdio>

// One line for each application, or the reason why there is no answer. The exit status.
inline int print(const tesker::SearchOutcome &outcome) {
  if (const auto *failure = std::get_if<tesker::SearchFailure>(&outcome.result)) {
    std::fprintf(stderr, "%s\n", failure->reason.c_str());
    return 1;
  }
  if (outcome.incomplete)
    std::fprintf(stderr, "something is missing; the tool's log says what\n");
  const auto *answer = std::get_if<tesker::SearchAnswer>(&outcome.result);
  if (answer == nullptr)
    return 0;
  for (const tesker::SearchRecord &record : answer->records) {
    const std::string *type = record.find("type");
    const std::string *path = record.find("path");
    if (type != nullptr && *type == "app" && path != nullptr)
      std::printf("%s\n", path->c_str());
  }
  return 0;
}
