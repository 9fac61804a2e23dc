// Requests.h - one of each request that the caches serve, for tests that make each of them fail.
#pragma once

#include "tests/caching/CachingTest.h"

#include <functional>
#include <string>
#include <vector>

namespace tesker::test {

struct Request {
  std::string name;
  std::function<std::string()> ask; // the answer as a text
};

inline std::string describe(const std::optional<NSFileAttributes> &info) {
  return info ? "inode " + std::to_string(inodeOf(info)) : "nil";
}

inline std::vector<Request> allRequests() {
  static auto &manager = CachingFileManager::classObject();
  const auto status = [](std::string name, bool follow, const char *file) {
    return Request{std::move(name), [follow, file] {
                     const auto string = NSString::create(file);
                     return describe(follow ? manager._privateStatDir("/dir"_ns, string)
                                            : manager._privateLstatDir("/dir"_ns, string));
                   }};
  };
  const auto type = [](std::string name, const char *file) {
    return Request{std::move(name), [file] {
                     return std::to_string(
                         manager.getFilerTypeDir("/dir"_ns, NSString::create(file)));
                   }};
  };
  const auto whole = [](std::string name, bool follow, const char *path) {
    return Request{std::move(name), [follow, path] {
                     return describe(globalCachedDirStat(NSString::create(path), follow));
                   }};
  };
  return {
      whole("directory", false, "/dir"),
      whole("link to directory, followed", true, "/link"),
      status("file", false, "file"),
      status("subdirectory", false, "sub"),
      status("link", false, "toFile"),
      status("link, followed", true, "toFile"),
      type("type of a file", "file"),
      type("type of a directory", "sub"),
      type("type of a link", "toFile"),
      {"listing",
       [] {
         const auto names = manager.childrenForDirPath("/dir"_ns, true, true);
         return names ? std::string(componentsJoinedByString(*names, ", ").bytes()) : "nil";
       }},
      {"listing with attributes",
       [] {
         std::vector<NSFileAttributes> infos;
         const auto names = manager._privateLStatDir("/dir"_ns, false, false, infos);
         return names ? std::to_string(infos.size()) : "nil";
       }},
      {"children", [] { return std::to_string(manager.hasChildren("/dir"_ns)); }},
  };
}

// The caches over a disk on which every request has something to find.
class RequestsTest : public CachingTest {
protected:
  RequestsTest() {
    disk.addDirectory("/dir");
    disk.addDirectory("/dir/sub");
    disk.addFile("/dir/file");
    disk.addLink("/dir/toFile", "file");
    disk.addLink("/link", "/dir");
    disk.tick(100);
    forgetAll();
  }

  // Cold: nothing is cached. Stale: everything is, and all of it has to be looked at again.
  enum class State { cold, stale };
  void prepare(State state, const Request &request) {
    forgetAll();
    if (state == State::cold)
      return;
    static_cast<void>(request.ask());
    // Asks for something else, in place of what is remembered as the last of each cache.
    static_cast<void>(manager().getFilerTypeDir("/"_ns, "dir"_ns));
    static_cast<void>(manager().getFilerTypeDir("/"_ns, "dir"_ns));
    static_cast<void>(manager()._privateLstatDir("/"_ns, "link"_ns));
    displaceLastDirectory();
    validateLater();
    disk.takeAllCalls();
  }

  // What holds after any failure: every entry of the global table was made completely.
  static void checkNothingIsHalfMade() {
    for (const auto &[path, entry] : globalStatState().globalTable)
      EXPECT_NE(entry.lastCheck, FilerTS{}) << path.bytes();
  }
};

} // namespace tesker::test
