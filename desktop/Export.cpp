#include "desktop/Export.h"

#include "platform/foundation/KeptFiles.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>

namespace tesker {

namespace {

constexpr std::size_t kLargestList = std::size_t{16} << 20;
constexpr std::size_t kLargestFile = std::size_t{16} << 20;

// Whether export could have made a file of the name; the list may have been tampered with.
bool isExportedName(const std::string &name) {
  const std::vector<std::string_view> parts = piecesOf(name, '/');
  return (parts[0] == "applications" || parts[0] == "mime" || parts[0] == "icons") &&
         parts.back().starts_with("tesker-") && std::ranges::find(parts, "..") == parts.end();
}

class ExportRun {
public:
  ExportRun(const ExportedFiles &files, const std::string &data, const Wishes &wishes,
            Reports &reports)
      : files_(files), data_(data), wishes_(wishes), reports_(reports) {}
  ExportOutcome run();

private:
  bool readList();
  void writeList(const std::set<std::string> &names);
  bool isOurs(const std::string &name);
  void bring(const std::string &name, const std::string &bytes);
  bool removeFile(const std::string &name);

  const ExportedFiles &files_;
  const std::string &data_;
  const Wishes &wishes_;
  Reports &reports_;
  std::set<std::string> made_; // the names in the list
  ExportOutcome outcome_;
};

// False when it is there and cannot be read.
bool ExportRun::readList() {
  const std::string file = exportListIn(data_);
  const Result<std::string> list = contentsOfFile(NSString::create(file), kLargestList);
  if (!list) {
    if (list.error() != ENOENT && list.error() != ENOTDIR)
      reports_.failFor(file, list.error());
    return list.error() == ENOENT || list.error() == ENOTDIR;
  }
  for (const std::string_view line : piecesOf(*list, '\n'))
    if (isExportedName(std::string(line)))
      made_.emplace(line);
  return true;
}

void ExportRun::writeList(const std::set<std::string> &names) {
  if (!wishes_.change || names == made_)
    return;
  made_ = names;
  std::string text;
  for (const std::string &name : names)
    text += name + "\n";
  const std::string file = exportListIn(data_);
  if (!text.empty())
    (void)(reports_.succeeds(file, makeDirectoriesAbove(file)) &&
           reports_.succeeds(file, writeFileAtomically(NSString::create(file), text)));
  else if (OperatingSystem::current().unlink(file.c_str()) != 0 && errno != ENOENT)
    reports_.failFor(file, errno);
}

// Whether the file is there to be made or is one that was made; else that is reported.
bool ExportRun::isOurs(const std::string &name) {
  struct stat status {};
  const std::string path = data_ + "/" + name;
  if (made_.contains(name) ||
      OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), false, status) != 0)
    return true;
  reports_.fail(path, "something else has made it; it is left alone");
  return false;
}

void ExportRun::bring(const std::string &name, const std::string &bytes) {
  const std::string path = data_ + "/" + name;
  const Result<std::string> before = contentsOfFile(NSString::create(path), kLargestFile);
  if (before && *before == bytes)
    ++outcome_.unchanged;
  else if (!wishes_.change ||
           (reports_.succeeds(path, makeDirectoriesAbove(path)) &&
            reports_.succeeds(path, writeFileAtomically(NSString::create(path), bytes))))
    (before ? outcome_.changed : outcome_.added).push_back(name);
}

// True when it is gone.
bool ExportRun::removeFile(const std::string &name) {
  const std::string path = data_ + "/" + name;
  if (wishes_.change && OperatingSystem::current().unlink(path.c_str()) != 0 && errno != ENOENT) {
    reports_.failFor(path, errno);
    return false;
  }
  outcome_.removed.push_back(name);
  return true;
}

ExportOutcome ExportRun::run() {
  if (!readList())
    return {};
  std::set<std::string> ours;
  for (const auto &[name, bytes] : files_)
    if (isOurs(name))
      ours.insert(name);
  const std::set<std::string> before = made_;
  std::set<std::string> all = made_;
  all.insert(ours.begin(), ours.end());
  writeList(all); // first, so that a file that is there is never unknown
  for (const std::string &name : ours)
    bring(name, files_.at(name));
  if (wishes_.remove)
    for (const std::string &name : before)
      if (!ours.contains(name) && removeFile(name))
        all.erase(name);
  writeList(all);
  return std::move(outcome_);
}

} // namespace

std::string exportListIn(const std::string &data) { return data + "/tesker/exported"; }

bool ExportOutcome::changes(std::string_view folder) const {
  const auto hasAny = [&](const std::vector<std::string> &names) {
    return std::ranges::any_of(names,
                               [&](const std::string &name) { return name.starts_with(folder); });
  };
  return hasAny(added) || hasAny(changed) || hasAny(removed);
}

ExportOutcome writeExported(const ExportedFiles &files, const std::string &data,
                            const Wishes &wishes, Reports &reports) {
  return ExportRun(files, data, wishes, reports).run();
}

} // namespace tesker
