#include "command/FoundPrograms.h"

#include "command/DisplayText.h"

#include <algorithm>
#include <map>

namespace tesker {

void DisplayTexts::add(std::string_view bytes) {
  const std::string text = displayText(bytes);
  if (!text.empty() && known_.insert(text).second)
    list_.push_back(text);
}

void DisplayTexts::moveToFront(const std::string &text) {
  const auto found = std::find(list_.begin(), list_.end(), text);
  if (found != list_.end())
    std::rotate(list_.begin(), found, found + 1);
}

namespace {

// A program while records are still added to it.
struct Draft {
  explicit Draft(std::string_view itsPath) : path(itsPath) {}
  std::string_view path;
  DisplayTexts otherNames; // of what it offers beside applications, bundles and extensions
  FoundProgram program = {};
};

std::string_view valueOf(const SearchRecord &record, std::string_view key) {
  const std::string *value = record.find(key);
  return value != nullptr ? std::string_view(*value) : std::string_view();
}

DisplayTexts &namesFor(Draft &draft, std::string_view type) {
  if (type == "extension")
    return draft.program.extensions;
  return type == "app" || type == "bundle" ? draft.program.names : draft.otherNames;
}

void addRecord(Draft &draft, const SearchRecord &record) {
  const std::string_view type = valueOf(record, "type");
  namesFor(draft, type).add(valueOf(record, "name"));
  draft.program.types.add(type);
  if (valueOf(record, "suitable") == "no")
    draft.program.suitable = false;
}

FoundProgram finished(Draft draft) {
  FoundProgram &program = draft.program;
  program.path = displayText(draft.path);
  if (program.names.empty())
    program.names = std::move(draft.otherNames);
  if (program.names.empty())
    program.names.add(draft.path.substr(draft.path.rfind('/') + 1));
  if (program.types.list().size() > 1)
    program.types.remove("extension");
  program.types.moveToFront("app");
  return std::move(program);
}

} // namespace

std::vector<FoundProgram> programsOf(const std::vector<SearchRecord> &records) {
  std::vector<Draft> drafts;
  std::map<std::string_view, std::size_t> places;
  for (const SearchRecord &record : records) {
    const std::string_view path = valueOf(record, "path");
    const auto [place, isNew] = places.emplace(path, drafts.size());
    if (isNew)
      drafts.emplace_back(path);
    addRecord(drafts[place->second], record);
  }
  std::vector<FoundProgram> programs;
  programs.reserve(drafts.size());
  for (Draft &draft : drafts)
    programs.push_back(finished(std::move(draft)));
  std::stable_sort(programs.begin(), programs.end(),
                   [](const FoundProgram &a, const FoundProgram &b) {
                     if (a.names.list() != b.names.list())
                       return a.names.list() < b.names.list();
                     return a.path < b.path;
                   });
  return programs;
}

} // namespace tesker
