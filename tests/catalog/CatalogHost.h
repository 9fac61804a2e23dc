// CatalogHost.h - a catalog in the event loop of a host, and a tree of applications for it.
#pragma once

#include "catalog/ApplicationCatalog.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// What a listener was told, as values.
struct ToldUpdate {
  std::uint64_t generation;
  std::vector<std::string> changes; // "added txt /Apps/Edit.app/Edit", in their order
  std::vector<CatalogProblem> problems;
  std::vector<std::string> searchPaths;
};

class CatalogHost {
public:
  // The real tool, a state directory of its own, and the directory "Apps" as the only path.
  ApplicationCatalogOptions options;
  CatalogHost();

  // A wrapper in the directory, of which the program opens files with the extension.
  void addApplication(std::string_view name, std::string_view extension) const;
  void remove(std::string_view name) const;
  std::string path(std::string_view name) const { return top_.path(name); }
  const TemporaryDirectory &top() const { return top_; }

  // Another one in place of the former.
  void create();
  ApplicationCatalog &catalog() { return *catalog_; }
  void destroy() { catalog_.reset(); }
  bool isReady(std::chrono::milliseconds time = {}) const;
  // Dispatches until that is so, or fails the test after some minutes.
  void runUntil(const std::function<bool()> &isSo);
  // The same until one more round has ended; what it has told.
  ToldUpdate nextUpdate();
  ToldUpdate refresh();
  // The names of the programs that open files with the extension, in their order.
  std::vector<std::string> handlers(std::string_view extension);

  std::vector<ToldUpdate> updates;
  std::function<void(const CatalogUpdate &)> onUpdate; // called as well

private:
  const TemporaryDirectory top_;
  const ScopedEnvironment runtime_;
  std::unique_ptr<ApplicationCatalog> catalog_;
};

} // namespace tesker::test
