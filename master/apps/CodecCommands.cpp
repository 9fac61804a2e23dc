#include "master/apps/Commands.h"
#include "master/apps/DisplayText.h"
#include "master/apps/InputFile.h"
#include "master/apps/RecordJSON.h"
#include "parsing/RecordEncoding.h"

#include <cerrno>
#include <cstring>

namespace tesker {

namespace {

// The bytes, or nothing after an error message.
std::optional<std::string> inputOf(const Arguments &arguments, Diagnostics &diagnostics) {
  std::optional<std::string> bytes = readInput(arguments.input);
  if (!bytes)
    diagnostics.error(displayText(arguments.input) + ": " + std::strerror(errno));
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
    diagnostics.error(displayText(arguments.input) + ": not a list of encoded records");
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
    diagnostics.error(displayText(arguments.input) + ": " + error.what());
    return kNegative;
  }
}

ExitStatus runCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  ExitStatus status = kDone;
  switch (arguments.command) {
  case Arguments::Command::list:
  case Arguments::Command::dock:
    status = searchCommand(arguments, output, diagnostics);
    break;
  case Arguments::Command::decode:
    status = decodeCommand(arguments, output, diagnostics);
    break;
  case Arguments::Command::encode:
    status = encodeCommand(arguments, output, diagnostics);
    break;
  }
  output.flush();
  if (output.error() == 0)
    return status;
  diagnostics.error(std::string("standard output: ") + std::strerror(output.error()));
  return std::max(status, kFailed);
}

} // namespace tesker
