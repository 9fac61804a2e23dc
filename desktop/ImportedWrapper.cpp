#include "desktop/ImportedWrapper.h"

#include "desktop/EntryIcon.h"
#include "desktop/StartScript.h"
#include "parsing/WrapperNames.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <vector>

namespace tesker {

namespace {

constexpr std::string_view kSuffix = ".app";
constexpr std::size_t kLargestImportedIcon = std::size_t{1} << 20;

struct Listing {
  std::vector<std::string> names; // sorted, less "." and ".."
  int error = 0;
};

Listing listingOf(const std::string &directory) {
  const auto stream = OperatingSystem::current().openDirectory(directory.c_str());
  if (stream == nullptr)
    return {{}, errno};
  Listing listing;
  while (const std::optional<std::string_view> name = stream->next())
    if (*name != "." && *name != "..")
      listing.names.emplace_back(*name);
  listing.error = stream->error();
  std::ranges::sort(listing.names);
  return listing;
}

bool isDirectory(const std::string &path) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), false, status) == 0 &&
         S_ISDIR(status.st_mode);
}

bool holdsJust(const std::string &directory, std::vector<std::string> names) {
  std::ranges::sort(names);
  return isDirectory(directory) && listingOf(directory).names == names;
}

// "icon.png" for a file that ends so.
std::string iconNameFor(std::string_view file) {
  return "icon" + std::string(file.substr(std::min(file.rfind('.'), file.size())));
}

// The description and the marker, with an icon or without.
bool areResourcesOfImport(const std::string &resources) {
  if (holdsJust(resources, {kMarkerName, std::string(kInfoListName)}))
    return true;
  return std::ranges::any_of(kIconSuffixes, [&](std::string_view suffix) {
    return holdsJust(resources, {kMarkerName, std::string(kInfoListName), iconNameFor(suffix)});
  });
}

void addIcon(WrapperDescription &description, const std::string &file, Reports &reports) {
  auto bytes = readOrReport(file, kLargestImportedIcon, reports);
  if (!bytes)
    return;
  description.icon = iconNameFor(file);
  description.files.emplace(description.icon, std::move(*bytes));
}

std::string resourcesOf(const std::string &wrapper) {
  return wrapper + "/" + std::string(kResourcesName);
}

bool holds(const std::string &file, const std::string &bytes) {
  const Result<std::string> text = contentsOfFile(NSString::create(file), bytes.size());
  return text && *text == bytes;
}

bool isExecutable(const std::string &file) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, file.c_str(), false, status) == 0 &&
         S_ISREG(status.st_mode) && (status.st_mode & S_IXUSR) != 0;
}

// "Edit" of ".../Edit.app"; empty where it is not a wrapper.
std::string wrapperNameOf(const std::string &wrapper) {
  const std::string file = wrapper.substr(wrapper.rfind('/') + 1);
  return file.ends_with(kSuffix) ? file.substr(0, file.size() - kSuffix.size()) : "";
}

} // namespace

WrapperDescription wrapperFor(const DesktopApplication &application, const std::string &name,
                              Reports &reports) {
  WrapperDescription description{.name = name, .program = startScript(application.entry)};
  const auto &extensions = application.extensions;
  if (!extensions.empty())
    description.types.push_back({.extensions = {extensions.begin(), extensions.end()}});
  description.files.emplace(kMarkerName, application.entry.id + "\n");
  if (application.iconFile)
    addIcon(description, *application.iconFile, reports);
  return description;
}

std::optional<std::string> importedIdOf(const std::string &wrapper) {
  constexpr std::size_t longestId = std::size_t{64} * 1024;
  const std::string name = wrapperNameOf(wrapper);
  if (name.empty() || !holdsJust(wrapper, {name, std::string(kResourcesName)}) ||
      !areResourcesOfImport(resourcesOf(wrapper)))
    return std::nullopt;
  const Result<std::string> marker =
      contentsOfFile(NSString::create(resourcesOf(wrapper) + "/" + kMarkerName), longestId);
  if (!marker || !marker->ends_with('\n'))
    return std::nullopt;
  return marker->substr(0, marker->size() - 1);
}

std::optional<WrapperFolder> wrapperFolder(const std::string &folder, Reports &reports) {
  const Listing listing = listingOf(folder);
  if (listing.error != 0 && listing.error != ENOENT) {
    reports.failFor(folder, listing.error);
    return std::nullopt;
  }
  WrapperFolder wrappers;
  for (const std::string &file : listing.names)
    if (const std::optional<std::string> id = importedIdOf(folder + "/" + file))
      wrappers.imported.emplace(wrapperNameOf(file), *id);
    else
      wrappers.others.insert(file);
  return wrappers;
}

bool isUpToDate(const std::string &wrapper, const WrapperDescription &description) {
  const std::string program = wrapper + "/" + description.name;
  const std::string resources = resourcesOf(wrapper) + "/";
  std::vector<std::string> names{std::string(kInfoListName)};
  for (const auto &file : description.files)
    names.push_back(file.first);
  return holdsJust(resourcesOf(wrapper), names) && isExecutable(program) &&
         holds(program, std::get<std::string>(description.program)) &&
         holds(resources + std::string(kInfoListName), textOf(description)) &&
         std::ranges::all_of(description.files, [&](const auto &file) {
           return holds(resources + file.first, std::get<std::string>(file.second));
         });
}

} // namespace tesker
