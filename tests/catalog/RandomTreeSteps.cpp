#include "tests/catalog/RandomTreeSteps.h"

#include "tests/catalog/TreeFiles.h"
#include "tests/support/MachOBuilder.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace tesker::test {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kFewestEntries = 40; // with less nothing is removed
constexpr std::size_t kMostEntries = 120;  // with more much is
constexpr std::size_t kMostLinks = 4;      // each may double what there is to search
constexpr std::size_t kMostMounts = 2;

constexpr std::array kSearched = {"one", "two/deep", "far/tree"};
constexpr const char *kWrapper = "one/Main.app"; // is searched, too
constexpr std::array kOnTheWay = {"one", "two", "two/deep", "far", "far/tree", "linked"};

} // namespace

RandomTreeSteps::RandomTreeSteps(std::string root, std::uint64_t seed, bool mayMount)
    : root_(std::move(root)), random_(seed), mayMount_(mayMount) {
  for (const char *directory : {"one/deep", "two/deep/er", "far/tree", "far/other"})
    fs::create_directories(root_ / directory);
  fs::create_symlink("far/tree", root_ / "linked");
  for (int i = 0; i < 20; ++i)
    step();
}

RandomTreeSteps::~RandomTreeSteps() {
  while (!mounted_.empty())
    unbind();
}

std::vector<std::string> RandomTreeSteps::searchPaths() const {
  return {root_ / "one", root_ / "two/deep", root_ / "linked", root_ / kWrapper};
}

std::string RandomTreeSteps::step() {
  struct Kind {
    unsigned weight;
    Done (RandomTreeSteps::*make)();
  };
  static constexpr std::array kKinds = {
      Kind{12, &RandomTreeSteps::makeProgram},  Kind{3, &RandomTreeSteps::makeHidden},
      Kind{8, &RandomTreeSteps::makeWrapper},   Kind{12, &RandomTreeSteps::makePartOfWrapper},
      Kind{4, &RandomTreeSteps::makeDirectory}, Kind{8, &RandomTreeSteps::makeLink},
      Kind{4, &RandomTreeSteps::makeHardLink},  Kind{12, &RandomTreeSteps::editInPlace},
      Kind{10, &RandomTreeSteps::replace},      Kind{10, &RandomTreeSteps::changeMode},
      Kind{8, &RandomTreeSteps::rename},        Kind{10, &RandomTreeSteps::move},
      Kind{8, &RandomTreeSteps::remove},        Kind{4, &RandomTreeSteps::moveSearchPath},
      Kind{4, &RandomTreeSteps::bind},          Kind{4, &RandomTreeSteps::unbind}};
  unsigned sum = 0;
  for (const Kind &kind : kKinds)
    sum += kind.weight;
  if (Done back = below(2) == 0 ? restoreSearchPath() : std::nullopt)
    return *back;
  look();
  for (int tries = 0; tries < 1000; ++tries) {
    unsigned at = static_cast<unsigned>(below(sum));
    const auto *kind = kKinds.begin();
    for (; at >= kind->weight; ++kind)
      at -= kind->weight;
    if (count_ > kMostEntries && below(2) == 0)
      kind = &kKinds[12];
    if (Done done = (this->*kind->make)())
      return *done;
  }
  return "nothing could be done";
}

// Mostly at what is searched.
void RandomTreeSteps::look() {
  TreeContents all = TreeContents::of({root_});
  count_ = all.all.size();
  links_ = all.links;
  std::vector<Path> searched;
  for (const char *directory : kSearched)
    searched.push_back(root_ / directory);
  now_ = std::move(all);
  if (TreeContents there = TreeContents::of(searched); below(8) != 0 && !there.all.empty())
    now_ = std::move(there);
}

std::string RandomTreeSteps::relative(const Path &path) const {
  return path.lexically_relative(root_).string();
}

// From a small stock, so that names are met again.
RandomTreeSteps::Path RandomTreeSteps::newName(const Path &directory) {
  static constexpr std::array kNames = {"a", "b", "c", "d", "Draw", "Main", "Paint"};
  return directory / kNames[below(kNames.size())];
}

std::string RandomTreeSteps::program() {
  const std::string number = std::to_string(below(100));
  return iconImage(kI386, "F\tProgram" + number + "\tApplication\ticon" + number + "\n").bytes();
}

std::string RandomTreeSteps::description() {
  const std::string number = std::to_string(below(100));
  return "{ NSExecutable = Name" + number + "; NSIcon = icon" + number +
         "; NSTypes = ({ NSExtensions = (x" + number + "); }); NSDocumentTypes = { y" + number +
         " = { NSImageName = i; }; }; }";
}

std::string RandomTreeSteps::contentsFor(const Path &file) {
  return isDescription(file) ? description() : program();
}

// Written where it is, or elsewhere first.
RandomTreeSteps::Done RandomTreeSteps::makeProgram() {
  const Path path = newName(oneOf(now_.directories));
  if (isThere(path))
    return std::nullopt;
  const Path beside = path.parent_path() / ".new";
  const std::size_t way = below(3);
  if (!write(way == 0 ? beside : path, program(), way == 1 ? 0644 : 0755) ||
      (way == 0 && !moved(beside, path)))
    return std::nullopt;
  return "made a program " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::makeHidden() {
  const Path path = oneOf(now_.directories) / (below(2) == 0 ? ".hidden" : "backup~");
  if (!mayBeWritten(path) || !write(path, program(), 0755))
    return std::nullopt;
  return "made " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::makeWrapper() {
  static constexpr std::array kSuffixes = {".app",       ".app",  ".debug", ".profile",
                                           "Tesker.app", ".tool", ".bundle"};
  Path path = newName(oneOf(now_.directories));
  path += kSuffixes[below(kSuffixes.size())];
  if (below(4) == 0)
    path = root_ / kWrapper;
  if (!makeDirectories(path))
    return std::nullopt;
  const std::size_t has = below(3);
  if (has != 0)
    write(path / path.stem(), program(), 0755);
  if (has != 1) {
    makeDirectories(path / "Resources");
    write(path / "Resources" / "Info-quorvale.plist", description(), 0644);
  }
  return "made a wrapper " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::makePartOfWrapper() {
  if (now_.wrappers.empty())
    return std::nullopt;
  const Path &wrapper = oneOf(now_.wrappers);
  const std::string base = wrapper.stem();
  const std::array<Path, 9> parts = {"Resources/Info-quorvale.plist",
                                     "Resources/registry.table",
                                     "registry.table",
                                     "Info-quorvale.plist/Info-quorvale.plist",
                                     base,
                                     base + "/Resources/Info-quorvale.plist",
                                     "services",
                                     "Some.tool",
                                     "Resources/Other.tool"};
  const Path path = wrapper / parts[below(parts.size())];
  makeDirectories(path.parent_path());
  if (!mayBeWritten(path))
    return std::nullopt;
  write(path, contentsFor(path), 0755);
  return "wrote a part of a wrapper " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::makeDirectory() {
  const Path path = newName(oneOf(now_.directories));
  if (!makeDirectories(path))
    return std::nullopt;
  return "made a directory " + relative(path);
}

// To anything, or to what is not there (yet).
RandomTreeSteps::Done RandomTreeSteps::makeLink() {
  if (links_ >= kMostLinks || now_.all.empty())
    return std::nullopt;
  Path path = newName(oneOf(now_.directories));
  if (below(3) == 0)
    path += ".app";
  Path target = below(4) == 0 ? newName(oneOf(now_.directories)) : oneOf(now_.all);
  if (below(2) == 0)
    target = target.lexically_relative(path.parent_path());
  std::error_code error;
  fs::create_symlink(target, path, error);
  if (error)
    return std::nullopt;
  return "linked " + relative(path) + " to " + target.string();
}

RandomTreeSteps::Done RandomTreeSteps::makeHardLink() {
  if (now_.files.empty())
    return std::nullopt;
  const Path path = newName(oneOf(now_.directories));
  const Path &file = oneOf(now_.files);
  std::error_code error;
  fs::create_hard_link(file, path, error);
  if (error)
    return std::nullopt;
  return "linked " + relative(path) + " hard to " + relative(file);
}

RandomTreeSteps::Done RandomTreeSteps::editInPlace() {
  if (now_.files.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.files);
  if (!mayBeChanged(path))
    return std::nullopt;
  std::ofstream(path, std::ios::binary) << contentsFor(path);
  return "edited " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::replace() {
  if (now_.files.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.files);
  const Path beside = path.parent_path() / ".new";
  write(beside, contentsFor(path), below(3) == 0 ? 0644 : 0755);
  return moved(beside, path) ? Done("replaced " + relative(path)) : std::nullopt;
}

RandomTreeSteps::Done RandomTreeSteps::changeMode() {
  if (now_.all.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.all);
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode) ||
      (S_ISREG(status.st_mode) && status.st_nlink > 1))
    return std::nullopt;
  const bool wasExecutable = (status.st_mode & 0111) != 0;
  if (wasExecutable && below(S_ISDIR(status.st_mode) ? 8 : 3) != 0) // hides what is in it
    return std::nullopt;
  const mode_t mode = wasExecutable ? 0600 : 0755;
  if (::chmod(path.c_str(), mode) != 0)
    return std::nullopt;
  return "made " + relative(path) + (mode == 0755 ? " executable" : " not executable");
}

RandomTreeSteps::Done RandomTreeSteps::moved(const Path &from, const Path &to) {
  std::error_code error;
  if (from != to)
    fs::rename(from, to, error);
  if (error || from == to)
    return std::nullopt;
  return "renamed " + relative(from) + " to " + relative(to);
}

// Between the names that a search goes by, passes over, and takes for a wrapper's.
RandomTreeSteps::Done RandomTreeSteps::rename() {
  if (now_.all.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.all);
  static constexpr std::array kSuffixes = {"", "", "", ".app", ".app", "~", ".tool"};
  Path to = newName(path.parent_path());
  to += kSuffixes[below(kSuffixes.size())];
  return moved(path, to);
}

RandomTreeSteps::Done RandomTreeSteps::move() {
  if (now_.all.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.all);
  return moved(path, oneOf(now_.directories) / path.filename());
}

RandomTreeSteps::Done RandomTreeSteps::remove() {
  if (count_ < kFewestEntries || now_.all.empty())
    return std::nullopt;
  const Path &path = oneOf(now_.all);
  const bool hasMount = std::ranges::any_of(
      mounted_, [&](const Path &mount) { return isWithin(mount, path) || isWithin(path, mount); });
  std::error_code error;
  if (hasMount || (fs::is_directory(fs::symlink_status(path, error)) && below(3) != 0) ||
      fs::remove_all(path, error) == 0 || error)
    return std::nullopt;
  return "removed " + relative(path);
}

RandomTreeSteps::Done RandomTreeSteps::moveSearchPath() {
  const Path path = root_ / kOnTheWay[below(kOnTheWay.size())];
  const Path away = path.string() + "-away";
  std::error_code error;
  if (isThere(away))
    fs::remove_all(away, error);
  return error ? std::nullopt : moved(path, away);
}

RandomTreeSteps::Done RandomTreeSteps::restoreSearchPath() {
  std::error_code error;
  for (const char *name : kOnTheWay)
    if (const Path path = root_ / name; !fs::is_directory(path, error)) {
      if (Done back = moved(path.string() + "-away", path))
        return back;
      if (makeDirectories(path))
        return "made " + relative(path);
      if (fs::remove(path, error)) // what is in its place
        return "removed " + relative(path);
    }
  return std::nullopt;
}

RandomTreeSteps::Done RandomTreeSteps::bind() {
  if (!mayMount_ || mounted_.size() >= kMostMounts)
    return std::nullopt;
  const Path &what = oneOf(now_.directories);
  const Path &where = oneOf(now_.directories);
  if (isWithin(what, where) || isWithin(where, what) ||
      ::mount(what.c_str(), where.c_str(), nullptr, MS_BIND, nullptr) != 0)
    return std::nullopt;
  mounted_.push_back(where);
  return "bound " + relative(what) + " to " + relative(where);
}

RandomTreeSteps::Done RandomTreeSteps::unbind() {
  if (mounted_.empty())
    return std::nullopt;
  const Path where = mounted_.back();
  mounted_.pop_back();
  if (::umount2(where.c_str(), MNT_DETACH) != 0)
    return std::nullopt;
  return "unbound " + relative(where);
}

} // namespace tesker::test
