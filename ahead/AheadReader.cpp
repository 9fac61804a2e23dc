#include "ahead/AheadReader.h"

#include "filesystem/DirectoryListing.h"
#include "filesystem/TextFunctions.h"
#include "parsing/WrapperNames.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <array>
#include <optional>
#include <utility>

namespace tesker {

// One thing in a directory. Most are not directories, so what only those need is not made of it.
struct AheadReader::Entry {
  const AheadTask &task;  // that it is seen in
  std::string_view above; // the directory's place in the order
  std::uint32_t index;    // in the directory
  int directory;          // open
  const char *name;       // in it
};

namespace {

OperatingSystem &theSystem() { return OperatingSystem::current(); }

// Into nothing; until the file ends, fails or has been read so far.
void readStart(const char *name, int directory, std::size_t length) {
  const Result<RegularFile> file = openRegularFile(name, directory);
  if (!file)
    return;
  std::array<char, AheadReader::kOfExecutables> bytes;
  for (std::size_t at = 0; at < length;) {
    const ssize_t got = theSystem().readAt(file->descriptor.number(), bytes.data(), bytes.size(),
                                           static_cast<off_t>(at));
    if (got <= 0)
      return;
    at += static_cast<std::size_t>(got);
  }
}

bool leadsBack(const AheadWay *way, const NSFileAttributes &attributes) {
  for (; way != nullptr; way = way->above.get())
    if (way->directory == attributes.buildDirFileUID())
      return true;
  return false;
}

// The name of a wrapper's executable; empty where its name has no suffix.
std::string_view executableIn(std::string_view wrapper) {
  const std::string_view name = wrapper.substr(wrapper.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot + 1 == name.size() ? "" : name.substr(0, dot);
}

} // namespace

void AheadReader::read(const AheadTask &task) {
  switch (task.kind) {
  case AheadTask::Kind::path:
    return readPath(task);
  case AheadTask::Kind::directory:
    return readDirectory(task);
  case AheadTask::Kind::names: {
    const FileDescriptor directory(
        theSystem().open(task.path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK));
    if (directory)
      lookAt(task, AheadQueue::orderOfDirectory(task.order), directory.number());
    return;
  }
  case AheadTask::Kind::wrapper:
    return readWrapper(task);
  }
}

void AheadReader::readPath(const AheadTask &task) {
  lookAt({.task = task,
          .above = AheadQueue::orderOfDirectory(task.order),
          .index = task.first,
          .directory = AT_FDCWD,
          .name = task.path.c_str()});
}

void AheadReader::readDirectory(const AheadTask &task) {
  const auto stream = theSystem().openDirectory(task.path.c_str());
  if (!stream)
    return;
  const std::string nameOnTheWay = queue_.nameOnTheWay(task.path);
  const auto namesFrom = [&task](std::uint32_t first) {
    return AheadTask{.kind = AheadTask::Kind::names,
                     .order = AheadQueue::orderOfNames(task.order, first),
                     .path = task.path,
                     .way = task.way,
                     .first = first};
  };
  std::uint32_t index = 0;
  AheadTask some = namesFrom(index);
  const auto handOver = [&] {
    if (index - some.first < kNamesAtOnce || !queue_.add(some))
      lookAt(some, task.order, stream->descriptor());
    some = namesFrom(index);
  };
  constexpr NameFilter kFilter{.dots = true, .backups = true};
  while (const auto name = stream->next()) {
    if (kFilter.leavesOut(*name))
      continue;
    if (*name == nameOnTheWay) {
      queue_.passedTo(AheadQueue::orderBelow(task.order, index));
      some = namesFrom(index); // the tool has seen those before
    }
    some.names.append(name->data(), name->size() + 1); // with its NUL
    if (++index - some.first == kNamesAtOnce)
      handOver();
  }
  if (!some.names.empty())
    handOver();
}

void AheadReader::lookAt(const AheadTask &task, std::string_view above, int directory) {
  std::uint32_t index = task.first;
  for (std::size_t at = 0; at < task.names.size(); ++index) {
    const char *name = task.names.c_str() + at;
    lookAt({task, above, index, directory, name});
    at += std::string_view(name).size() + 1;
  }
  queue_.count(index - task.first);
}

void AheadReader::lookAt(const Entry &entry) {
  struct stat status;
  if (theSystem().statAt(entry.directory, entry.name, false, status) != 0)
    return;
  const bool isLink = S_ISLNK(status.st_mode);
  if (isLink && theSystem().statAt(entry.directory, entry.name, true, status) != 0)
    return;
  const NSFileAttributes attributes(status);
  if (attributes.canExecute() == 0)
    return;
  if (attributes.isRegular())
    return readStart(entry.name, entry.directory, kOfExecutables);
  if (attributes.isDirectory())
    addDirectory(entry,
                 isWrapperSuffix(suffixOf(entry.name)) ? AheadTask::Kind::wrapper
                                                       : AheadTask::Kind::directory,
                 attributes, isLink);
}

void AheadReader::addDirectory(const Entry &entry, AheadTask::Kind kind,
                               const NSFileAttributes &attributes, bool isBehindLink) {
  const auto &way = entry.task.way;
  isBehindLink = isBehindLink || (way && way->isBehindLink);
  if (isBehindLink && leadsBack(way.get(), attributes))
    return;
  AheadTask task{.kind = kind,
                 .order = AheadQueue::orderBelow(entry.above, entry.index),
                 .path = entry.task.kind == AheadTask::Kind::path
                             ? entry.task.path
                             : joinedPath(entry.task.path, entry.name)};
  task.way =
      std::make_shared<const AheadWay>(AheadWay{attributes.buildDirFileUID(), isBehindLink, way});
  (void)queue_.add(task);
}

void AheadReader::readWrapper(const AheadTask &task) {
  const auto stream = theSystem().openDirectory(task.path.c_str());
  if (!stream)
    return;
  std::uint32_t index = 0;
  while (const auto name = stream->next())
    if (*name != "." && *name != "..")
      readPart(task, stream->descriptor(), *name, index++);
}

void AheadReader::readPart(const AheadTask &wrapper, int directory, std::string_view name,
                           std::uint32_t index) {
  const std::string_view own = std::string_view(wrapper.path).substr(wrapper.path.rfind('/') + 1);
  if (name == kRegistryName)
    readStart(name.data(), directory, kOfDescriptions);
  if (name == kResourcesName)
    for (const std::string_view description : {kInfoListName, kRegistryName})
      readStart(joinedPath(name, description).c_str(), directory, kOfDescriptions);
  const bool isNested =
      isNestedWrapperName(name) || (name == kResourcesName && hasWrapperInResources(own));
  const bool isExecutable = name == executableIn(wrapper.path);
  if (!isNested && !isExecutable)
    return;
  struct stat status;
  if (theSystem().statAt(directory, name.data(), true, status) != 0)
    return;
  const NSFileAttributes attributes(status);
  if (attributes.canExecute() == 0)
    return;
  const Entry entry{wrapper, wrapper.order, index, directory, name.data()};
  if (attributes.isRegular())
    readStart(name.data(), directory, kOfExecutables);
  else if (isNested && attributes.isDirectory())
    // What leads back is a wrapper again only within one, and links there are not told apart.
    addDirectory(entry, AheadTask::Kind::wrapper, attributes, true);
}

} // namespace tesker
