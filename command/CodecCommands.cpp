// CodecCommands.cpp - decode and encode: between encoded text and what people and programs read.
#include "command/Answers.h"
#include "command/Commands.h"
#include "command/RecordJSON.h"

namespace tesker {

namespace {

// The bytes; when they cannot be read, an error message says why.
Result<std::string> inputOf(const Arguments &arguments, Diagnostics &diagnostics) {
  Result<std::string> bytes = readInput(arguments.input);
  if (!bytes)
    diagnostics.fileError(arguments.input, bytes.error());
  return bytes;
}

} // namespace

ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  Result<std::string> text = inputOf(arguments, diagnostics);
  if (!text)
    return ExitStatus::failed;
  // Looked through first, so that nothing is printed of text that proves malformed.
  EncodedRecords records(*text);
  if (!records.check()) {
    diagnostics.error(inputName(arguments.input) + ": " + kNotEncodedRecords);
    return ExitStatus::no;
  }
  std::optional<SearchRecord> record;
  const std::unique_ptr<ResultWriter> writer =
      makeResultWriter(arguments.format, output, arguments.table);
  writer->begin();
  writer->add({"decode", std::nullopt, &*text, false, [&]() -> const SearchRecord * {
                 record = records.next();
                 return record ? &*record : nullptr;
               }});
  writer->end(diagnostics.problems());
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
    return ExitStatus::no;
  }
}

} // namespace tesker
