// CheckCommand.cpp - check: what is wrong with a description, said as compilers say it.
#include "command/Check.h"
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"

#include <algorithm>
#include <map>

namespace tesker {

namespace {

std::string objectOf(const Finding &finding) {
  return JSONObject()
      .addText("file", finding.file)
      .addPlace(finding.line, finding.column, finding.offset)
      .addText("level", finding.isError ? "error" : "warning")
      .addText("code", finding.word)
      .addText("text", finding.text)
      .text();
}

std::optional<DescriptionKind> kindCalled(const std::string &name) {
  static const std::map<std::string, DescriptionKind> kinds{{"list", DescriptionKind::list},
                                                            {"registry", DescriptionKind::registry},
                                                            {"header", DescriptionKind::header}};
  const auto found = kinds.find(name);
  return found == kinds.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

ExitStatus checkCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  ExitStatus status = ExitStatus::done;
  std::vector<std::string> objects;
  const auto tell = [&](const Finding &finding) {
    if (finding.isError || arguments.strict)
      status = std::max(status, ExitStatus::no);
    if (arguments.format == Format::table)
      output.write(lineOf(finding, output.terminal()));
    else
      objects.push_back(objectOf(finding));
  };
  for (const std::string &file : arguments.files) {
    const CheckAnswer answer = check(file, kindCalled(arguments.kind), arguments.timeout);
    std::ranges::for_each(answer.findings, tell);
    if (answer.error != 0)
      diagnostics.fileError(file, answer.error);
    if (answer.failure)
      diagnostics.errorAt(file, *answer.failure);
    if (answer.error != 0 || answer.failure)
      status = std::max(status, ExitStatus::failed);
  }
  if (arguments.format != Format::table)
    writeItems(output, arguments.format,
               {"check", std::nullopt, status == ExitStatus::failed, "findings", "finding",
                std::move(objects)},
               diagnostics.problems());
  return status;
}

} // namespace tesker
