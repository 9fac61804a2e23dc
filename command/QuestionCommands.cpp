// QuestionCommands.cpp - handlers, types, services and show: an answer, asked for a part of it.
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/Question.h"
#include "command/RecordTable.h"
#include "command/SameFiles.h"

#include <algorithm>

namespace tesker {

namespace {

constexpr const char *kNotSuitable = "not suitable";

std::string objectOf(const Handler &handler) {
  JSONObject object;
  object.addText("name", handler.name)
      .addText("path", handler.program->path)
      .addText("extension", valueOf(*handler.record, "name"));
  if (const std::string_view icon = valueOf(*handler.record, "icon"); !icon.empty())
    object.addText("icon", icon);
  return object.addFlag("suitable", handler.program->suitable)
      .addFlag("primary", handler.primary)
      .addFlag("preferred", handler.preferred)
      .text();
}

std::vector<std::string> objectsOf(const std::vector<Handler> &handlers) {
  std::vector<std::string> objects;
  objects.reserve(handlers.size());
  for (const Handler &handler : handlers)
    objects.push_back(objectOf(handler));
  return objects;
}

// Rows with their paths, as they are written: a saved answer may be of another machine.
std::vector<TextRow> rowsToWrite(std::vector<PathRow> rows, const Arguments &arguments,
                                 const Output &output) {
  const bool isMerged = output.terminal().columns != 0 && arguments.answerFile.empty();
  return rowsWithPaths(std::move(rows), isMerged ? SamePaths::merge : SamePaths::keep);
}

void writeRows(Output &output, const Arguments &arguments, TextTable table,
               std::vector<TextRow> rows, const std::string &headline) {
  for (TextRow &row : rows)
    table.add(std::move(row));
  table.write(output, arguments.table, headline);
}

Style styleOf(const Program &program) { return program.suitable ? Style::plain : Style::dubious; }

PathRow handlerRow(const Handler &handler) {
  std::vector<std::string> notes;
  if (handler.preferred)
    notes.emplace_back("preferred");
  if (handler.primary)
    notes.emplace_back("primary");
  if (!handler.program->suitable)
    notes.emplace_back(kNotSuitable);
  return {.row = {.cells = {textCell(displayText(handler.name)), listCell(notes)},
                  .style = styleOf(*handler.program)},
          .path = handler.program->path};
}

std::string headlineOf(std::string_view extension, std::size_t count, bool isSorted) {
  if (count == 0)
    return nothingOpens(extension);
  return counted(count, "application opens ", "applications open ") + displayText(extension) +
         (count == 1 || isSorted ? " files" : " files, the best first");
}

void writeHandlers(Output &output, const Arguments &arguments, std::string_view extension,
                   const std::vector<Handler> &handlers) {
  std::vector<PathRow> rows;
  for (const Handler &handler : handlers)
    rows.push_back(handlerRow(handler));
  std::vector<TextRow> merged = rowsToWrite(std::move(rows), arguments, output);
  const std::string headline =
      headlineOf(extension, merged.size(), !arguments.table.sortBy.empty());
  writeRows(output, arguments, TextTable(kHandlerColumns), std::move(merged), headline);
}

// Whether the subject of handlers is a file; a word that has neither a slash nor a dot inside it is
// an extension.
bool isFile(std::string_view subject) {
  return isPath(subject) || subject.find('.', 1) != std::string_view::npos;
}

std::string_view extensionIn(std::string_view subject) {
  return isFile(subject) ? extensionOf(subject) : subject.substr(subject.starts_with('.') ? 1 : 0);
}

void writeTypes(Output &output, const Arguments &arguments, const FileTypes &types) {
  const std::vector<std::string_view> extensions = types.extensions();
  TextTable table(kTypeColumns);
  for (const std::string_view extension : extensions) {
    DisplayTexts names;
    for (const Handler &handler : types.handlersOf(extension))
      names.add(std::string(handler.name) +
                (handler.program->suitable ? "" : std::string(" (") + kNotSuitable + ")"));
    table.add({{textCell(displayText(extension)), listCell(names.list())}});
  }
  table.write(output, arguments.table,
              counted(extensions.size(), "type of files", "types of files") + " can be opened");
}

std::vector<std::string> objectsOf(const FileTypes &types) {
  std::vector<std::string> objects;
  for (const std::string_view extension : types.extensions())
    objects.push_back(JSONObject()
                          .addText("extension", extension)
                          .addValues("handlers", objectsOf(types.handlersOf(extension)))
                          .text());
  return objects;
}

void writeServices(Output &output, const Arguments &arguments,
                   const std::vector<const Program *> &programs) {
  std::vector<PathRow> rows;
  for (const Program *program : programs)
    rows.push_back({.row = {.cells = {textCell(displayText(program->name)),
                                      textCell(program->suitable ? "" : kNotSuitable)},
                            .style = styleOf(*program)},
                    .path = program->path});
  std::vector<TextRow> merged = rowsToWrite(std::move(rows), arguments, output);
  const std::string headline =
      counted(merged.size(), "program offers services", "programs offer services");
  writeRows(output, arguments, TextTable(kServiceColumns), std::move(merged), headline);
}

std::vector<std::string> objectsOf(const std::vector<const Program *> &programs) {
  std::vector<std::string> objects;
  for (const Program *program : programs)
    objects.push_back(JSONObject()
                          .addText("name", program->name)
                          .addText("path", program->path)
                          .addFlag("suitable", program->suitable)
                          .text());
  return objects;
}

// What a record says beside its path, type and name, a line for each pair.
TextCell othersOf(const SearchRecord &record) {
  TextCell lines;
  for (const auto &[key, value] : record.pairs)
    if (key != "path" && key != "type" && key != "name")
      lines.push_back(displayText(key) + ": " + displayText(value));
  std::sort(lines.begin(), lines.end());
  return lines.empty() ? textCell("") : lines;
}

void writeProgram(Output &output, const TableForm &form, const Program &program) {
  TextTable table(kRecordColumns);
  for (const SearchRecord *record : program.records)
    table.add({{textCell(displayText(valueOf(*record, "type"))),
                textCell(displayText(valueOf(*record, "name"))), othersOf(*record)}});
  table.write(output, form,
              nameAndPath(program.name, program) +
                  (program.suitable ? "" : ", not suitable for the processor"));
}

// In the form that list has, so that its readers can take them.
void writeRecords(Output &output, const Arguments &arguments, bool incomplete,
                  const std::vector<const Program *> &programs, const Problems &problems) {
  std::vector<SearchRecord> records;
  for (const Program *program : programs)
    for (const SearchRecord *record : program->records)
      records.push_back(*record);
  const std::string text; // there is one, so the answer is not an unchanged one
  const auto writer = makeResultWriter(arguments.format, output);
  writer->begin();
  writer->add({"show", arguments.subject, &text, incomplete, recordsIn(records)});
  writer->end(problems);
}

} // namespace

ExitStatus handlersCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Question question(arguments, diagnostics);
  if (!question.answer.isThere)
    return question.answer.status;
  const std::string_view extension = extensionIn(arguments.subject);
  std::vector<Handler> handlers;
  std::optional<std::string> why;
  if (isFile(arguments.subject))
    why = whyNotClaimed(arguments.subject);
  if (!why)
    handlers = question.types.handlersOf(extension);
  // It may be meant as a file after all.
  if (handlers.empty() && OperatingSystem::current().access(arguments.subject.c_str(), F_OK) == 0)
    why = whyNotClaimed(arguments.subject);
  if (why)
    diagnostics.errorAt(arguments.subject, *why);
  if (arguments.format != Format::table)
    writeItems(output, arguments.format,
               {"handlers", why ? std::nullopt : std::optional<std::string>(extension),
                question.answer.incomplete, "handlers", "handler", objectsOf(handlers)},
               diagnostics.problems());
  else if (!why)
    writeHandlers(output, arguments, extension, handlers);
  return handlers.empty() ? std::max(question.answer.status, ExitStatus::no)
                          : question.answer.status;
}

ExitStatus typesCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Question question(arguments, diagnostics);
  if (!question.answer.isThere)
    return question.answer.status;
  if (arguments.format == Format::table)
    writeTypes(output, arguments, question.types);
  else
    writeItems(output, arguments.format,
               {"types", std::nullopt, question.answer.incomplete, "types", "type",
                objectsOf(question.types)},
               diagnostics.problems());
  return question.answer.status;
}

ExitStatus servicesCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Answer answer = answerFor(arguments, diagnostics);
  if (!answer.isThere)
    return answer.status;
  const std::vector<Program> programs = programsIn(answer.records);
  std::vector<const Program *> offering;
  for (const Program &program : programs)
    if (program.hasRecordOf("services"))
      offering.push_back(&program);
  if (arguments.format == Format::table)
    writeServices(output, arguments, offering);
  else
    writeItems(
        output, arguments.format,
        {"services", std::nullopt, answer.incomplete, "services", "service", objectsOf(offering)},
        diagnostics.problems());
  return answer.status;
}

ExitStatus showCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Answer answer = answerFor(arguments, diagnostics);
  if (!answer.isThere)
    return answer.status;
  const std::vector<Program> programs = programsIn(answer.records);
  const std::vector<const Program *> called =
      programsCalled(programs, nameOrAbsolutePath(arguments.subject));
  if (called.empty())
    diagnostics.error(nothingIsCalled(arguments.subject));
  if (arguments.format != Format::table)
    writeRecords(output, arguments, answer.incomplete, called, diagnostics.problems());
  else
    for (const Program *program : called) {
      output.write(program == called.front() ? "" : "\n");
      writeProgram(output, arguments.table, *program);
    }
  return called.empty() ? std::max(answer.status, ExitStatus::no) : answer.status;
}

} // namespace tesker
