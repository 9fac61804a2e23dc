#include "paths/PathFunctions.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace tesker {

namespace {

constexpr std::string_view kIncorrectPath = "*** Incorrect path: '%s'";
constexpr std::string_view kIncorrectDir = "*** Incorrect dir: '%s'";
constexpr std::string_view kIncorrectFile = "*** Incorrect file: '%s'";

bool holds(std::string_view bytes, char character) {
  return bytes.find(character) != std::string_view::npos;
}

bool isDirFile(const NSString &dir, const NSString &file) {
  return dir.bytes().starts_with('/') &&
         (!file || (file.length() > 0 && !holds(file.bytes(), '/')));
}

// The buffer's end of a path that grows piece by piece and stays empty once it has not fitted.
class PathWriter {
public:
  explicit PathWriter(PathBuffer &buffer) : buffer_(buffer) { buffer_[0] = '\0'; }

  bool append(std::string_view bytes) {
    if (bytes.size() >= kPathBufferSize - length_ || holds(bytes, '\0')) {
      buffer_[0] = '\0';
      return false;
    }
    bytes.copy(buffer_ + length_, bytes.size());
    length_ += bytes.size();
    buffer_[length_] = '\0';
    return true;
  }

private:
  PathBuffer &buffer_;
  std::size_t length_ = 0;
};

std::nullopt_t refused(std::string_view format, const NSString &text) {
  syslogError(format, {text.bytes()});
  return std::nullopt;
}

// The names between the slashes that isKept keeps, after the empty string that stands for the root.
// Nothing when the path is not absolute or isRefused refuses a name.
template <class Refused, class Kept>
std::optional<Components> cleanComponents(const NSString &path, Refused isRefused, Kept isKept) {
  if (!path.bytes().starts_with('/'))
    return std::nullopt;
  Components components{""_ns};
  std::string_view rest = path.bytes();
  while (!rest.empty()) {
    rest.remove_prefix(1); // the slash
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(name.size());
    if (isRefused(name))
      return std::nullopt;
    if (isKept(name))
      components.push_back(NSString::create(name));
  }
  return components;
}

// A name counts without one NUL at its end, so that a lone NUL is not a name.
bool isName(std::string_view piece) {
  constexpr std::string_view kLoneNul("\0", 1);
  return !piece.empty() && piece != "." && piece != kLoneNul;
}

bool hasComponents(const Components *components) {
  if (components != nullptr && !components->empty())
    return true;
  syslogError("*** Incorrect components: %s", {components == nullptr ? "(null)" : "()"});
  return false;
}

// Between the two in their path.
bool wantsSlash(const NSString &dir, const NSString &file) {
  return (file || dir.length() == 0) && dir != "/";
}

} // namespace

bool namesDirectoryItself(const NSString &file) { return !file || file == "."; }

void TeskerCheckDirFile(const NSString &dir, const NSString &file) {
  if (!isDirFile(dir, file))
    syslogError("*** checkDirFile invariant broken for '%s','%s'", {dir.bytes(), file.bytes()});
}

bool fitsCPath(const NSString &dir, const NSString &file) {
  if (dir.length() + 1 + file.length() < kPathBufferSize)
    return true; // whatever is between them, and mostly so
  const std::size_t name = namesDirectoryItself(file) ? 0 : file.length();
  return dir.length() + (wantsSlash(dir, file) ? 1 : 0) + name < kPathBufferSize;
}

void TeskerSetCPath(PathBuffer &buffer, const NSString &dir, const NSString &file) {
  TeskerCheckDirFile(dir, file);
  PathWriter path(buffer);
  if (!path.append(dir.bytes()) || !path.append(wantsSlash(dir, file) ? "/" : ""))
    return;
  // Kept: the slash before "." stays, for with it the system follows a link in the directory's last
  // name.
  if (!namesDirectoryItself(file))
    path.append(file.bytes());
}

NSString TeskerCatDirFile(const NSString &dir, const NSString &file) {
  if (namesDirectoryItself(file))
    return dir;
  return *globalDirNameSet()
              .insert(dir.stringByAppendingPathComponent(file.bytes(), filerZone()))
              .first;
}

void TeskerSetCatDirFile(std::string &out, const NSString &dir, const NSString &file) {
  TeskerCheckDirFile(dir, file);
  out = dir.bytes();
  if (namesDirectoryItself(file))
    return;
  // A good directory of one character is the root.
  if (dir.length() != 1)
    out += '/';
  out += file.bytes();
}

StringSet &globalDirNameSet() {
  static auto &names = *new StringSet(&filerZone());
  return names;
}

std::optional<Components> TeskerSplitPathIntoCleanComponents(const NSString &path) {
  auto components = cleanComponents(
      path, [](std::string_view name) { return name == ".."; }, isName);
  return components ? std::move(components) : refused(kIncorrectPath, path);
}

std::optional<Components> TeskerSplitDirFileIntoCleanComponents(const NSString &dir,
                                                                const NSString &file) {
  const auto isDots = [](std::string_view name) { return name == "." || name == ".."; };
  auto components =
      cleanComponents(dir, isDots, [](std::string_view name) { return !name.empty(); });
  if (!components)
    return refused(kIncorrectDir, dir);
  if (!file)
    return components;
  if (holds(file.bytes(), '/') || isDots(file.bytes()))
    return refused(kIncorrectFile, file);
  components->push_back(file);
  return components;
}

NSString TeskerJoinComponents(const Components &components) {
  return components.size() == 1 ? "/"_ns : componentsJoinedByString(components, "/");
}

NSString TeskerDirForCleanComponents(const Components *components) {
  if (!hasComponents(components))
    return nullptr;
  if (components->size() <= 2)
    return "/"_ns;
  return componentsJoinedByString({components->begin(), components->end() - 1}, "/");
}

NSString TeskerFileForCleanComponents(const Components *components) {
  return hasComponents(components) && components->size() > 1 ? components->back() : nullptr;
}

DirFile TeskerNormalizePathIntoDirFile(const NSString &path) {
  const auto components = TeskerSplitPathIntoCleanComponents(path);
  if (!components)
    syslogError("*** normalizePath: incorrect argument: '%@'", {path.bytes()});
  const Components *found = components ? &*components : nullptr;
  return {TeskerDirForCleanComponents(found), TeskerFileForCleanComponents(found)};
}

bool TeskerIsRootOf(const Components &a, const Components &b) {
  return a.size() < b.size() && std::equal(a.begin(), a.end(), b.begin());
}

bool fileStat(const NSString &path, struct stat &status) {
  return OperatingSystem::current().statAt(AT_FDCWD, path.fileSystemRepresentation(), false,
                                           status) == 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
void _UNIX_ERROR(const NSString &) {}

NSZone &filerZone() {
  static NSZone &zone = []() -> NSZone & {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    NSZone &made = NSCreateZone(page, page);
    NSSetZoneName(made, "File Caching");
    return made;
  }();
  return zone;
}

} // namespace tesker
