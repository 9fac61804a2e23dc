// RecordTable.h - an answer as a person reads it.
//
// All records of one program become one row: its names, what it is, the file extensions that it
// claims and where it lies. Rows are sorted by name. Everything is shown as display text.
#pragma once

#include "command/Output.h"
#include "command/ResultWriter.h"

#include <cstddef>

namespace tesker {

// Writes a line that says what was found and the table below it. With a terminal of terminalColumns
// columns, long lists of extensions are broken into lines so that rows fit where they can; with 0
// every row is one line.
void writeTable(Output &output, const SearchResult &result, std::size_t terminalColumns);

} // namespace tesker
