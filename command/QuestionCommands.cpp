// QuestionCommands.cpp - handlers, types, services and show: an answer, asked for a part of it.
#include "command/Commands.h"
#include "command/DisplayText.h"
#include "command/JSONItems.h"
#include "command/Question.h"
#include "command/RecordTable.h"
#include "command/TextTable.h"

#include <algorithm>

namespace tesker {

namespace {

constexpr const char *kNotSuitable = "not suitable";

// "no program", "1 program", "2 programs"
std::string counted(std::size_t count, const std::string &singular, const std::string &plural) {
  return (count == 0 ? "no" : std::to_string(count)) + " " + (count == 1 ? singular : plural);
}

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

TextRow rowOf(const Handler &handler) {
  std::vector<std::string> notes;
  if (handler.preferred)
    notes.emplace_back("preferred");
  if (handler.primary)
    notes.emplace_back("primary");
  if (!handler.program->suitable)
    notes.emplace_back(kNotSuitable);
  return {textCell(displayText(handler.name)), listLines(notes),
          textCell(displayText(handler.program->path))};
}

void writeHandlers(Output &output, std::string_view extension,
                   const std::vector<Handler> &handlers) {
  if (handlers.empty()) {
    output.write(nothingOpens(extension) + "\n");
    return;
  }
  output.write(counted(handlers.size(), "application opens ", "applications open ") +
               displayText(extension) +
               (handlers.size() == 1 ? " files\n\n" : " files, the best first\n\n"));
  std::vector<TextRow> rows{{{"NAME"}, {"NOTE"}, {"PATH"}}};
  for (const Handler &handler : handlers)
    rows.push_back(rowOf(handler));
  writeRows(output, rows);
}

// Whether the subject of handlers is a file; a word that has neither a slash nor a dot inside it is
// an extension.
bool isFile(std::string_view subject) {
  return isPath(subject) || subject.find('.', 1) != std::string_view::npos;
}

std::string_view extensionIn(std::string_view subject) {
  return isFile(subject) ? extensionOf(subject) : subject.substr(subject.starts_with('.') ? 1 : 0);
}

void writeTypes(Output &output, const FileTypes &types) {
  const std::vector<std::string_view> extensions = types.extensions();
  output.write(counted(extensions.size(), "type of files", "types of files") + " can be opened\n");
  if (extensions.empty())
    return;
  std::vector<TextRow> rows{{{"EXTENSION"}, {"APPLICATIONS"}}};
  for (const std::string_view extension : extensions) {
    DisplayTexts names;
    for (const Handler &handler : types.handlersOf(extension))
      names.add(std::string(handler.name) +
                (handler.program->suitable ? "" : std::string(" (") + kNotSuitable + ")"));
    rows.push_back({textCell(displayText(extension)), listLines(names.list())});
  }
  output.write("\n");
  writeRows(output, rows);
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

void writeServices(Output &output, const std::vector<const Program *> &programs) {
  output.write(counted(programs.size(), "program offers services", "programs offer services") +
               "\n");
  if (programs.empty())
    return;
  std::vector<TextRow> rows{{{"NAME"}, {"NOTE"}, {"PATH"}}};
  for (const Program *program : programs)
    rows.push_back({textCell(displayText(program->name)),
                    textCell(program->suitable ? "" : kNotSuitable),
                    textCell(displayText(program->path))});
  output.write("\n");
  writeRows(output, rows);
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

void writeProgram(Output &output, const Program &program) {
  output.write(nameAndPath(program.name, program) +
               (program.suitable ? "" : ", not suitable for the processor") + "\n\n");
  std::vector<TextRow> rows{{{"TYPE"}, {"NAME"}, {"OTHER"}}};
  for (const SearchRecord *record : program.records)
    rows.push_back({textCell(displayText(valueOf(*record, "type"))),
                    textCell(displayText(valueOf(*record, "name"))), othersOf(*record)});
  writeRows(output, rows);
}

// In the form that list has, so that its readers can take them.
void writeRecords(Output &output, const Arguments &arguments, bool incomplete,
                  const std::vector<const Program *> &programs) {
  std::vector<SearchRecord> records;
  for (const Program *program : programs)
    for (const SearchRecord *record : program->records)
      records.push_back(*record);
  const std::string text; // there is one, so the answer is not an unchanged one
  const auto writer = makeResultWriter(arguments.format, output);
  writer->begin();
  writer->add({"show", arguments.subject, &text, incomplete, recordsIn(records)});
  writer->end();
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
  if (arguments.format != Format::table)
    writeItems(output, arguments.format,
               {"handlers", why ? std::nullopt : std::optional<std::string>(extension),
                question.answer.incomplete, "handlers", "handler", objectsOf(handlers)});
  else if (!why)
    writeHandlers(output, extension, handlers);
  if (why)
    diagnostics.error(displayText(arguments.subject) + ": " + *why);
  return handlers.empty() ? std::max(question.answer.status, ExitStatus::no)
                          : question.answer.status;
}

ExitStatus typesCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Question question(arguments, diagnostics);
  if (!question.answer.isThere)
    return question.answer.status;
  if (arguments.format == Format::table)
    writeTypes(output, question.types);
  else
    writeItems(output, arguments.format,
               {"types", std::nullopt, question.answer.incomplete, "types", "type",
                objectsOf(question.types)});
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
    writeServices(output, offering);
  else
    writeItems(
        output, arguments.format,
        {"services", std::nullopt, answer.incomplete, "services", "service", objectsOf(offering)});
  return answer.status;
}

ExitStatus showCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  const Answer answer = answerFor(arguments, diagnostics);
  if (!answer.isThere)
    return answer.status;
  const std::vector<Program> programs = programsIn(answer.records);
  const std::vector<const Program *> called =
      programsCalled(programs, nameOrAbsolutePath(arguments.subject));
  if (arguments.format != Format::table)
    writeRecords(output, arguments, answer.incomplete, called);
  else
    for (const Program *program : called) {
      output.write(program == called.front() ? "" : "\n");
      writeProgram(output, *program);
    }
  if (!called.empty())
    return answer.status;
  diagnostics.error(nothingIsCalled(arguments.subject));
  return std::max(answer.status, ExitStatus::no);
}

} // namespace tesker
