#include "command/Shadows.h"

#include <map>
#include <set>

namespace tesker {

namespace {

using ProgramsByName = std::map<std::string_view, const Program *>;

// By each name, the one that is started.
ProgramsByName programsToStart(const std::vector<Program> &programs) {
  std::map<std::string_view, std::vector<const Program *>> called;
  for (const Program &program : programs)
    for (const std::string_view name : namesOf(program))
      called[name].push_back(&program);
  ProgramsByName first;
  for (auto &[name, all] : called)
    first.emplace(name, programToStart(std::move(all)));
  return first;
}

// The best handlers, each looked for once.
class BestHandlers {
public:
  BestHandlers(const std::vector<Program> &programs, const PreferredApplications &preferred)
      : types_(programs, preferred) {}

  const Program &of(std::string_view extension) {
    const auto [best, isNew] = best_.try_emplace(extension);
    if (isNew)
      best->second = types_.handlersOf(extension).front().program;
    return *best->second;
  }

private:
  const FileTypes types_;
  ProgramsByName best_;
};

std::set<std::string_view> extensionsOf(const Program &program) {
  std::set<std::string_view> extensions;
  for (const SearchRecord *record : program.records)
    if (valueOf(*record, "type") == "extension" && !valueOf(*record, "name").empty())
      extensions.insert(valueOf(*record, "name"));
  return extensions;
}

} // namespace

void findShadows(const std::vector<Program> &programs, const PreferredApplications &preferred,
                 const std::function<bool(const Program &)> &isAskedAbout,
                 const std::function<void(const Shadow &)> &tell) {
  const ProgramsByName started = programsToStart(programs);
  BestHandlers best(programs, preferred);
  for (const Program &program : programs) {
    if (!isAskedAbout(program))
      continue;
    if (program.hasRecordOf("app"))
      if (const Program *first = started.at(program.name); first != &program)
        tell({&program, first, "for the name " + program.name});
    for (const std::string_view extension : extensionsOf(program))
      if (const Program &first = best.of(extension); &first != &program)
        tell({&program, &first, "for the extension " + std::string(extension)});
  }
}

} // namespace tesker
