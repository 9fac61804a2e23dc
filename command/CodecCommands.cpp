// CodecCommands.cpp - decode and encode: between encoded text and what people and programs read.
#include "command/Commands.h"
#include "command/InputFile.h"
#include "command/RecordJSON.h"
#include "parsing/RecordEncoding.h"

#include <cerrno>

namespace tesker {

namespace {

// The bytes, or nothing after an error message.
std::optional<std::string> inputOf(const Arguments &arguments, Diagnostics &diagnostics) {
  std::optional<std::string> bytes = readInput(arguments.input);
  if (!bytes)
    diagnostics.error(fileError(arguments.input, errno));
  return bytes;
}

} // namespace

ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const std::optional<std::string> bytes = inputOf(arguments, diagnostics);
  if (!bytes)
    return kFailed;
  const Ref<NSString> text = NSString::create(*bytes);
  const RefPtr<NSMutableArray> records = decodeParsedApp(*text, NSDefaultMallocZone());
  if (!records) {
    diagnostics.error(inputName(arguments.input) + ": not a list of encoded records");
    return kNegative;
  }
  const std::unique_ptr<ResultWriter> writer = makeResultWriter(arguments.format, output);
  writer->begin();
  writer->add({"decode", nullptr, text, records});
  writer->end();
  return kDone;
}

ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const std::optional<std::string> document = inputOf(arguments, diagnostics);
  if (!document)
    return kFailed;
  try {
    output.write(encodeParsedApp(*recordsFromJSON(*document))->bytes());
    return kDone;
  } catch (const JSONError &error) {
    diagnostics.error(inputName(arguments.input) + ": " + error.what());
    return kNegative;
  }
}

} // namespace tesker
