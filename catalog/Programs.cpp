#include "catalog/Programs.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <map>

namespace tesker {

namespace {

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// The directory Name.SUFFIX that the program lies in and is the Name of; empty when there is none.
std::string_view wrapperOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos)
    return {};
  const std::string_view directory = path.substr(0, slash);
  const std::string_view folder = lastComponent(directory);
  return folder.substr(0, folder.rfind('.')) == path.substr(slash + 1) &&
                 folder.find('.') != std::string_view::npos
             ? directory
             : std::string_view();
}

template <class Equal>
bool matches(const Program &program, std::string_view nameOrPath, Equal equal) {
  const std::string_view wrapper = wrapperOf(program.path);
  if (isPath(nameOrPath)) {
    nameOrPath = withoutSlashesAtItsEnd(nameOrPath);
    return program.path == nameOrPath || (!wrapper.empty() && wrapper == nameOrPath);
  }
  return std::ranges::any_of(namesOf(program),
                             [&](std::string_view name) { return equal(name, nameOrPath); });
}

std::string nameOf(const Program &program) {
  for (const auto &[type, key] :
       {std::pair{"app", "name"}, {"bundle", "name"}, {"extension", "appName"}})
    for (const SearchRecord *record : program.records)
      if (valueOf(*record, "type") == type && !valueOf(*record, key).empty())
        return std::string(valueOf(*record, key));
  return std::string(lastComponent(program.path));
}

} // namespace

std::string_view valueOf(const SearchRecord &record, std::string_view key) {
  const std::string *value = record.find(key);
  return value != nullptr ? std::string_view(*value) : std::string_view();
}

bool Program::hasRecordOf(std::string_view type) const {
  return std::any_of(records.begin(), records.end(),
                     [&](const SearchRecord *record) { return valueOf(*record, "type") == type; });
}

std::vector<std::string> Program::types() const {
  std::vector<std::string> found;
  for (const SearchRecord *record : records) {
    const std::string_view type = valueOf(*record, "type");
    if (!type.empty() && std::find(found.begin(), found.end(), type) == found.end())
      found.emplace_back(type);
  }
  return found;
}

std::vector<Program> programsIn(const std::vector<SearchRecord> &records) {
  std::vector<Program> programs;
  std::map<std::string_view, std::size_t> places;
  for (const SearchRecord &record : records) {
    const std::string_view path = valueOf(record, "path");
    if (path.empty())
      continue;
    const auto [place, isNew] = places.emplace(path, programs.size());
    if (isNew)
      programs.emplace_back().path = path;
    Program &program = programs[place->second];
    program.records.push_back(&record);
    if (valueOf(record, "suitable") == "no")
      program.suitable = false;
  }
  for (Program &program : programs)
    program.name = nameOf(program);
  return programs;
}

bool equalButForCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return withoutCase(x) == withoutCase(y); });
}

std::vector<std::string_view> namesOf(const Program &program) {
  std::vector<std::string_view> names{program.name, lastComponent(program.path)};
  if (const std::string_view wrapper = wrapperOf(program.path); !wrapper.empty())
    names.push_back(lastComponent(wrapper));
  return names;
}

bool isCalled(const Program &program, std::string_view nameOrPath) {
  return matches(program, nameOrPath, std::equal_to<std::string_view>());
}

std::vector<const Program *> programsCalled(const std::vector<Program> &programs,
                                            std::string_view nameOrPath) {
  std::vector<const Program *> exact, others;
  for (const Program &program : programs)
    if (isCalled(program, nameOrPath))
      exact.push_back(&program);
    else if (matches(program, nameOrPath, equalButForCase))
      others.push_back(&program);
  return exact.empty() ? others : exact;
}

const Program *programToStart(std::vector<const Program *> called) {
  std::erase_if(called, [](const Program *program) {
    return !program->hasRecordOf("app") && !program->hasRecordOf("extension") &&
           !program->hasRecordOf("services");
  });
  const auto suitable = std::ranges::find(called, true, &Program::suitable);
  if (suitable != called.end())
    return *suitable;
  return called.empty() ? nullptr : called.front();
}

} // namespace tesker
