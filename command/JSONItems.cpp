#include "command/JSONItems.h"

#include "command/RecordJSON.h"

namespace tesker {

namespace {

std::string arrayOf(const std::vector<std::string> &values) {
  std::string array;
  for (const std::string &value : values)
    array += (array.empty() ? "" : ",") + value;
  return "[" + array + "]";
}

void writeDocument(Output &output, const JSONItems &items, const Problems &problems) {
  output.write("{" + schemaMember() + ",\"results\":[\n{" +
               requestMembers(items.request, items.key));
  if (items.incomplete)
    output.write(",\"incomplete\":true");
  output.write(std::string(",\"") + items.listName + "\":[");
  const char *separator = "\n";
  for (const std::string &item : items.items) {
    output.write(separator);
    output.write(item);
    separator = ",\n";
  }
  output.write(std::string(items.items.empty() ? "" : "\n") + "]}\n]" + problemMembers(problems) +
               "}\n");
}

void writeLines(Output &output, const JSONItems &items) {
  const std::string members = "{" + schemaMember() + "," + requestMembers(items.request, items.key);
  for (const std::string &item : items.items)
    output.write(members + ",\"" + items.itemName + "\":" + item + "}\n");
  if (items.incomplete)
    output.write(members + ",\"incomplete\":true}\n");
}

std::string objectOf(const Problem &problem) {
  JSONObject object;
  if (problem.path)
    object.addText("path", *problem.path);
  return object.addText("text", problem.text).text();
}

std::string listMember(const char *name, const std::vector<Problem> &problems) {
  std::string list;
  for (const Problem &problem : problems)
    list += (list.empty() ? "\n" : ",\n") + objectOf(problem);
  return list.empty() ? "" : std::string(",\"") + name + "\":[" + list + "\n]";
}

} // namespace

const std::string &schemaMember() {
  static const std::string member = "\"schema\":" + std::to_string(kJSONSchema);
  return member;
}

std::string requestMembers(const std::string &request, const std::optional<std::string> &key) {
  return "\"request\":" + textAsJSON(request) + ",\"key\":" + (key ? textAsJSON(*key) : "null");
}

JSONObject &JSONObject::addText(const char *name, std::string_view bytes) {
  return addValue(name, textAsJSON(bytes));
}

JSONObject &JSONObject::addTexts(const char *name, const std::vector<std::string> &list) {
  std::vector<std::string> values;
  values.reserve(list.size());
  for (const std::string &text : list)
    values.push_back(textAsJSON(text));
  return addValues(name, values);
}

JSONObject &JSONObject::addFlag(const char *name, bool value) {
  return addValue(name, value ? "true" : "false");
}

JSONObject &JSONObject::addNumber(const char *name, long long value) {
  return addValue(name, std::to_string(value));
}

JSONObject &JSONObject::addPlace(std::size_t line, std::size_t column,
                                 const std::optional<std::uint64_t> &offset) {
  if (line != 0)
    addNumber("line", static_cast<long long>(line));
  if (column != 0)
    addNumber("column", static_cast<long long>(column));
  if (offset)
    addNumber("offset", static_cast<long long>(*offset));
  return *this;
}

JSONObject &JSONObject::addValue(const char *name, std::string_view json) {
  if (!members_.empty())
    members_ += ',';
  members_ += '"';
  members_ += name;
  members_ += "\":";
  members_ += json;
  return *this;
}

JSONObject &JSONObject::addValues(const char *name, const std::vector<std::string> &list) {
  return addValue(name, arrayOf(list));
}

void writeItems(Output &output, Format format, const JSONItems &items, const Problems &problems) {
  if (format == Format::jsonl)
    writeLines(output, items);
  else
    writeDocument(output, items, problems);
}

std::string problemMembers(const Problems &problems) {
  return listMember("errors", problems.errors()) + listMember("log", problems.log());
}

void writeOtherProblems(Output &output, Format format, const Problems &problems) {
  if (format == Format::json && output.isUntouched() && !problems.empty())
    output.write("{" + schemaMember() + ",\"results\":[\n]" + problemMembers(problems) + "}\n");
}

} // namespace tesker
