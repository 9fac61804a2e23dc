// RandomChanges.h - changes of a small fake disk by chance.
#pragma once

#include "tests/support/FakeDisk.h"

#include <random>
#include <string>
#include <vector>

namespace tesker::test {

class Chance {
public:
  explicit Chance(std::uint64_t seed) : engine_(seed) {}
  // A number from 0 to n-1.
  std::size_t below(std::size_t n) { return static_cast<std::size_t>(engine_() % n); }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  template <class T> const T &oneOf(const std::vector<T> &all) { return all[below(all.size())]; }

private:
  std::mt19937_64 engine_;
};

// The paths that everything happens at: few, so that the same ones meet again and again.
inline const std::vector<std::string> kTopDirectories = {"/d0", "/d1", "/d2"};
inline const std::vector<std::string> kDirectories = {"/d0", "/d1", "/d2", "/d0/s", "/d1/s"};
inline const std::vector<std::string> kNames = {"s", "x", "y"};

inline std::vector<std::string> allPaths() {
  std::vector<std::string> paths = kTopDirectories;
  for (const auto &directory : kDirectories)
    for (const auto &name : kNames)
      paths.push_back(directory + "/" + name);
  return paths;
}

class RandomChanges {
public:
  RandomChanges(FakeDisk &disk, Chance &chance) : disk_(disk), chance_(chance) {
    for (const auto &directory : kDirectories)
      if (disk.canAdd(directory))
        disk.addDirectory(directory);
  }

  // One change, or none where chance chose something that cannot be done.
  void change() {
    if (chance_.oneIn(25))
      changeTopDirectory();
    else
      changeFile();
  }

private:
  std::string somePath() { return chance_.oneOf(kDirectories) + "/" + chance_.oneOf(kNames); }

  void add(const std::string &path) {
    if (!disk_.canAdd(path))
      return;
    switch (chance_.below(6)) {
    case 0:
      disk_.addDirectory(path);
      break;
    case 1:
      disk_.addLink(path, chance_.oneOf(std::vector<std::string>{"x", "y", "s", "/d1", "/d2/x"}),
                    chance_.oneIn(4) ? 01777 : 0777);
      break;
    case 2:
      disk_.addSpecial(path, chance_.oneIn(2) ? S_IFCHR : S_IFIFO);
      break;
    default:
      disk_.addFile(path, chance_.oneIn(2) ? 0644 : 0755);
    }
  }

  void changeFile() {
    const std::string path = somePath();
    const bool exists = disk_.peek(path, false).has_value();
    switch (exists ? chance_.below(6) : 0) {
    case 0:
      add(path);
      break;
    case 1:
      disk_.remove(path);
      break;
    case 2:
      move(path, somePath());
      break;
    case 3:
      if (disk_.peek(path, true))
        disk_.setMode(path, chance_.oneIn(2) ? 0600 : 0711);
      break;
    case 4:
      if (disk_.peek(path, true) && S_ISREG(disk_.peek(path, true)->mode))
        disk_.write(path);
      break;
    default:
      link(path, somePath());
    }
  }

  // A directory would have to be kept from moving into itself.
  void move(const std::string &path, const std::string &newPath) {
    if (S_ISDIR(disk_.peek(path, false)->mode) || path == newPath)
      return;
    if (disk_.canAdd(newPath) || (disk_.peek(newPath, false) && disk_.peek(newPath, false)->inode !=
                                                                    disk_.peek(path, false)->inode))
      disk_.move(path, newPath);
  }

  void link(const std::string &path, const std::string &newPath) {
    if (!S_ISDIR(disk_.peek(path, false)->mode) && disk_.canAdd(newPath))
      disk_.addHardLink(path, newPath);
  }

  void changeTopDirectory() {
    const std::string &path = chance_.oneOf(kTopDirectories);
    const std::string &other = chance_.oneOf(kTopDirectories);
    if (disk_.canAdd(path)) {
      if (chance_.oneIn(3))
        disk_.addLink(path, other);
      else
        disk_.addDirectory(path);
    } else if (chance_.oneIn(2)) {
      if (path != other)
        disk_.move(path, other);
    } else {
      disk_.remove(path);
    }
  }

  FakeDisk &disk_;
  Chance &chance_;
};

} // namespace tesker::test
