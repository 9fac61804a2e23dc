#include "command/CodecCommands.h"

#include "command/InputFile.h"
#include "command/RecordJSON.h"
#include "command/ResultWriter.h"
#include "master/SearchRecord.h"

namespace tesker {

namespace {

// The bytes; when they cannot be read, an error message says why.
Result<std::string> inputOf(const Arguments &arguments, Diagnostics &diagnostics) {
  Result<std::string> bytes = readInput(arguments.input);
  if (!bytes)
    diagnostics.error(fileError(arguments.input, bytes.error()));
  return bytes;
}

} // namespace

ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  Result<std::string> text = inputOf(arguments, diagnostics);
  if (!text)
    return ExitStatus::failed;
  std::optional<std::vector<SearchRecord>> records = decodeRecords(*text);
  if (!records) {
    diagnostics.error(inputName(arguments.input) + ": not a list of encoded records");
    return ExitStatus::malformed;
  }
  const SearchAnswer answer{std::move(*text), std::move(*records)};
  const std::unique_ptr<ResultWriter> writer = makeResultWriter(arguments.format, output);
  writer->begin();
  writer->add({"decode", std::nullopt, &answer});
  writer->end();
  return ExitStatus::done;
}

ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Result<std::string> document = inputOf(arguments, diagnostics);
  if (!document)
    return ExitStatus::failed;
  try {
    output.write(encodeRecords(recordsFromJSON(*document)));
    return ExitStatus::done;
  } catch (const JSONError &error) {
    diagnostics.error(inputName(arguments.input) + ": " + error.what());
    return ExitStatus::malformed;
  }
}

} // namespace tesker
