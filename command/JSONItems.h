// JSONItems.h - what a question is answered with, as JSON: objects that are not records.
//
// docs/json.md describes the whole documents.
#pragma once

#include "command/Output.h"
#include "command/ResultWriter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// `"schema":1`, which begins every document.
[[nodiscard]] const std::string &schemaMember();
// `"request":"list","key":"/Apps"`; a key that is not there is null.
[[nodiscard]] std::string requestMembers(const std::string &request,
                                         const std::optional<std::string> &key);

// An object while its members are added. Their names are the program's own words.
class JSONObject {
public:
  JSONObject &addText(const char *name, std::string_view bytes);
  JSONObject &addTexts(const char *name, const std::vector<std::string> &list);
  JSONObject &addFlag(const char *name, bool value);
  JSONObject &addNumber(const char *name, long long value);
  // Where in a file something is: the members line, column and offset; none for 0 and nothing.
  JSONObject &addPlace(std::size_t line, std::size_t column,
                       const std::optional<std::uint64_t> &offset);
  // A value that is JSON already; a list of those.
  JSONObject &addValue(const char *name, std::string_view json);
  JSONObject &addValues(const char *name, const std::vector<std::string> &list);
  [[nodiscard]] std::string text() const { return "{" + members_ + "}"; }

private:
  std::string members_;
};

struct JSONItems {
  std::string request;            // the command's name
  std::optional<std::string> key; // what was asked about
  bool incomplete = false;        // there may be more
  const char *listName;           // of the member that holds the items (json)
  const char *itemName;           // of the member that holds one (jsonl)
  std::vector<std::string> items; // objects
};

// Writes one document with an item on a line, or a document for each. The format is one of the two;
// of what went wrong only the one document tells here.
void writeItems(Output &output, Format format, const JSONItems &items,
                const Problems &problems = {});

// ---- what went wrong ----

// `,"errors":[...],"log":[...]` behind the results of a document, or what of it there is.
[[nodiscard]] std::string problemMembers(const Problems &problems);
// To be called when all is written: where JSON is asked for and no document has told of them, one
// without results does. The lines of the other form are what was asked for, and nothing else.
void writeOtherProblems(Output &output, Format format, const Problems &problems);

} // namespace tesker
