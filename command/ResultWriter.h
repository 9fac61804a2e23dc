// ResultWriter.h - answers on standard output, in the format that was asked for.
//
// One writer serves one run of the command: begin, one add for each answer as it comes, end. The
// output is borrowed and has to live as long as the writer.
#pragma once

#include "command/Output.h"
#include "master/SearchOutcome.h"

#include <memory>
#include <optional>
#include <string>

namespace tesker {

enum class Format { table, json, jsonl, raw };

// One answer.
struct SearchResult {
  std::string request;            // "list", "dock" or "decode"
  std::optional<std::string> key; // the searched path or "Dock"; nothing for decoded text
  const SearchAnswer *answer;     // lent; nil when it is unchanged
};

class ResultWriter {
public:
  virtual ~ResultWriter() = default;
  virtual void begin() {}
  virtual void add(const SearchResult &result) = 0;
  virtual void end() {}
};

std::unique_ptr<ResultWriter> makeResultWriter(Format format, Output &output);

} // namespace tesker
