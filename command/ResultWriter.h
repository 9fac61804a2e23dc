// ResultWriter.h - answers on standard output, in the format that was asked for.
//
// One writer serves one run of the command: begin, one add for each answer as it comes, end. The
// output is borrowed and has to live as long as the writer.
#pragma once

#include "command/Output.h"
#include "command/TextTable.h"
#include "master/SearchOutcome.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tesker {

enum class Format { table, json, jsonl, raw };

// Records, one by one, so that they need not all be in memory at once: a call lends the next one
// until the call after, and nil after the last. It may be empty, for none.
using RecordSource = std::function<const SearchRecord *()>;

// The records of a list, which is borrowed.
[[nodiscard]] RecordSource recordsIn(const std::vector<SearchRecord> &list);

template <class Take> void forEachRecord(const RecordSource &records, Take take) {
  while (const SearchRecord *record = records ? records() : nullptr)
    take(*record);
}

// One answer.
struct SearchResult {
  std::string request;            // "list", "dock" or "decode"
  std::optional<std::string> key; // the searched path or "Dock"; nothing for decoded text
  const std::string *text;        // as it was encoded; lent; nil when it is unchanged
  bool incomplete = false;        // something could not be read, or was too much
  RecordSource records = {};      // none when it is unchanged
  std::optional<std::string> confinement = {}; // the tool's; nothing when it is not known
};

// The result that an answer is; nil: unchanged.
[[nodiscard]] SearchResult resultOf(std::string request, std::optional<std::string> key,
                                    const SearchAnswer *answer, bool incomplete = false);

class ResultWriter {
public:
  virtual ~ResultWriter() = default;
  virtual void begin() {}
  virtual void add(const SearchResult &result) = 0;
  // With all that went wrong; a document tells of it.
  virtual void end(const Problems & /*problems*/) {}
};

// The form is that of tables.
std::unique_ptr<ResultWriter> makeResultWriter(Format format, Output &output, TableForm form = {});

} // namespace tesker
