// WatchTest.h - for tests of what is told of changes in a tree of their own.
//
// The system has an event ready when the call that causes it returns, so that nothing has to be
// waited for.
#pragma once

#include "catalog/SearchPathWatches.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace tesker::test {

class WatchTest : public ::testing::Test {
protected:
  WatchTest() {
    auto created = SearchPathWatches::create();
    if (!created)
      throw std::system_error(created.error(), std::generic_category(), "no watches");
    watches_.emplace(std::move(*created));
  }

  std::string path(std::string_view name) const { return directory_.path(name); }

  // Watches a path in the tree; the errno where that cannot be.
  int watch(std::string_view name = "tree") {
    watches_->begin(path(name));
    return finish(name);
  }
  int finish(std::string_view name) {
    for (;;) {
      const auto progress = watches_->advance(path(name));
      if (!progress)
        return progress.error();
      if (*progress == SearchPathWatches::Progress::done)
        return 0;
    }
  }

  bool isReadable() {
    pollfd watched{.fd = watches_->descriptor(), .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, 0) == 1;
  }
  // The paths in the tree that are told of until there is nothing to take. Directories above the
  // tree, where others are at work, may have something again at once.
  std::vector<std::string> changed() {
    std::vector<std::string> names;
    while (isReadable())
      for (const std::string &told : watches_->takeChanged())
        names.push_back(told.substr(directory_.path().size() + 1));
    return names;
  }
  // Whether anything is, now.
  bool isTold() { return !changed().empty(); }

  void append(std::string_view name, std::string_view bytes = "more") const {
    const int file = ::open(path(name).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0 || ::write(file, bytes.data(), bytes.size()) < 0 || ::close(file) != 0)
      throw std::system_error(errno, std::generic_category(), path(name));
  }

  TemporaryDirectory directory_;
  std::optional<SearchPathWatches> watches_;
};

} // namespace tesker::test
