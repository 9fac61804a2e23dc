#include "desktop/Import.h"

#include "desktop/ImportedWrapper.h"
#include "desktop/WrapperNaming.h"
#include "making/WrapperWriter.h"
#include "platform/foundation/KeptFiles.h"
#include "platform/foundation/PropertyListDescription.h"
#include "platform/foundation/RemoveTree.h"

#include <algorithm>
#include <cerrno>

namespace tesker {

namespace {

using Change = ImportChange::Kind;

constexpr std::chrono::minutes kTimeToRemove{1};
constexpr std::size_t kLargestPreferences = std::size_t{16} << 20;

class ImportRun {
public:
  ImportRun(const Desktop &desktop, const ImportPlaces &places, const Wishes &wishes,
            Reports &reports)
      : desktop_(desktop), places_(places), wishes_(wishes), reports_(reports) {}
  ImportOutcome run();

private:
  bool bringWrappers();
  void removeWrappers();
  void bringPreferences();
  void writeWrapper(const DesktopApplication &application, const std::string &name);
  bool put(const WrapperDescription &description);
  void removeWrapper(const std::string &name, const std::string &id);
  std::string preferences() const;
  std::string programFor(const std::string &id) const;
  bool writePreferences(const std::string &text);
  std::string wrapperOf(const std::string &name) const {
    return places_.applications + "/" + name + ".app";
  }

  const Desktop &desktop_;
  const ImportPlaces &places_;
  const Wishes &wishes_;
  Reports &reports_;
  WrapperFolder folder_;
  std::map<std::string, std::string> names_; // of wrappers, by id
  ImportOutcome outcome_;
};

bool ImportRun::put(const WrapperDescription &description) {
  WrapperWriter writer(places_.applications);
  auto failure = writer.write(description);
  if (!failure)
    failure = writer.putInPlace(folder_.imported.contains(description.name)
                                    ? WrapperWriter::Former::isRemoved
                                    : WrapperWriter::Former::stays);
  if (failure)
    reports_.failFor(failure->path, failure->error);
  return !failure;
}

void ImportRun::writeWrapper(const DesktopApplication &application, const std::string &name) {
  const WrapperDescription description = wrapperFor(application, name, reports_);
  const bool isThere = folder_.imported.contains(name);
  if (isThere && isUpToDate(wrapperOf(name), description))
    ++outcome_.unchanged;
  else if (!wishes_.change || put(description))
    outcome_.changes.push_back(
        {isThere ? Change::changed : Change::added, name + ".app", application.entry.id});
}

void ImportRun::removeWrapper(const std::string &name, const std::string &id) {
  if (!wishes_.change ||
      reports_.succeeds(wrapperOf(name), removeTree(wrapperOf(name), Deadline::in(kTimeToRemove))))
    outcome_.changes.push_back({Change::removed, name + ".app", id});
}

// The path of the program that stands for the entry.
std::string ImportRun::programFor(const std::string &id) const {
  const auto name = names_.find(id);
  if (name != names_.end())
    return wrapperOf(name->second) + "/" + name->second;
  const auto application = std::ranges::find(
      desktop_.applications, id, [](const DesktopApplication &one) { return one.entry.id; });
  return application != desktop_.applications.end() ? application->entry.exportedProgram : "";
}

std::string ImportRun::preferences() const {
  const auto pairs = NSDictionary::create();
  for (const auto &[extension, id] : desktop_.defaults)
    if (const std::string program = programFor(id); !program.empty())
      pairs->setObjectForKey(NSString::create(program), NSString::create(extension));
  if (pairs->count() == 0)
    return "";
  return "/* The desktop's defaults. Written by tesker-desktop import, which writes it again; "
         "what\n"
         "   tesker-apps prefer keeps counts for more. */\n{\n" +
         std::string(descriptionInStringsFileFormat(*pairs).bytes()) + "}\n";
}

// Without a text there is not to be a file. True when it is done.
bool ImportRun::writePreferences(const std::string &text) {
  const std::string &file = places_.preferences;
  if (text.empty())
    return reports_.succeeds(
        file, OperatingSystem::current().unlink(file.c_str()) == 0 ? Result<>() : Failure{errno});
  return reports_.succeeds(file, makeDirectoriesAbove(file)) &&
         reports_.succeeds(file, writeFileAtomically(NSString::create(file), text));
}

// False when there is no place for them.
bool ImportRun::bringWrappers() {
  std::vector<DesktopApplication> applications = desktop_.applications;
  std::erase_if(applications, [](const DesktopApplication &one) { return one.entry.isExported(); });
  names_ = wrapperNames(applications, [&](const std::string &name) {
    return !folder_.others.contains(name + ".app");
  });
  if (wishes_.change && !applications.empty() &&
      !reports_.succeeds(places_.applications, makeDirectoriesAbove(places_.applications + "/")))
    return false;
  for (const DesktopApplication &application : applications)
    writeWrapper(application, names_.at(application.entry.id));
  return true;
}

void ImportRun::removeWrappers() {
  std::set<std::string> wanted;
  for (const auto &[id, name] : names_)
    wanted.insert(name);
  for (const auto &[name, id] : folder_.imported)
    if (!wanted.contains(name))
      removeWrapper(name, id);
}

void ImportRun::bringPreferences() {
  const std::string text = preferences();
  const Result<std::string> before =
      contentsOfFile(NSString::create(places_.preferences), kLargestPreferences);
  const bool differs = before ? *before != text : !text.empty() || before.error() != ENOENT;
  if (differs && (wishes_.remove || !text.empty()))
    outcome_.changesPreferences = !wishes_.change || writePreferences(text);
}

ImportOutcome ImportRun::run() {
  std::optional<WrapperFolder> folder = wrapperFolder(places_.applications, reports_);
  if (!folder)
    return {};
  folder_ = std::move(*folder);
  if (!bringWrappers())
    return {};
  if (wishes_.remove)
    removeWrappers();
  std::ranges::sort(outcome_.changes, {}, &ImportChange::wrapper);
  bringPreferences();
  return std::move(outcome_);
}

} // namespace

ImportOutcome importDesktop(const Desktop &desktop, const ImportPlaces &places,
                            const Wishes &wishes, Reports &reports) {
  return ImportRun(desktop, places, wishes, reports).run();
}

} // namespace tesker
