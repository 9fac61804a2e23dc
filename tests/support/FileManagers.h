// FileManagers.h - file managers that a test hands in, to see what is asked of them.
#pragma once

#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSException.h"

#include <optional>
#include <string>
#include <vector>

namespace tesker::test {

// The one that everybody uses.
inline NSFileManager &manager() { return NSFileManager::classObject(); }

// Answers as the system does, and writes down the pairs whose followed status it was asked for,
// each as "dir file".
class AskedFileManager final : public NSFileManager {
public:
  std::vector<std::string> asked;
  std::optional<NSFileAttributes> _privateStatDir(const NSString &dir,
                                                  const NSString &file) override {
    asked.push_back(std::string(dir.bytes()) + " " + std::string(file.bytes()));
    return NSFileManager::_privateStatDir(dir, file);
  }
};

// Raises for every followed status.
class RaisingFileManager final : public NSFileManager {
public:
  std::optional<NSFileAttributes> _privateStatDir(const NSString &, const NSString &) override {
    throw NSException("Test", "no attributes");
  }
};

} // namespace tesker::test
