#include "tests/catalog/CatalogHost.h"

#include "platform/foundation/OperatingSystem.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>

namespace tesker::test {

namespace {

std::string described(const CatalogChange &change) {
  const SearchRecord &record = change.after != nullptr ? *change.after : *change.before;
  return std::string(change.before == nullptr  ? "added "
                     : change.after == nullptr ? "removed "
                                               : "changed ") +
         std::string(valueOf(record, "name")) + " " + std::string(valueOf(record, "path"));
}

} // namespace

CatalogHost::CatalogHost() : runtime_("XDG_RUNTIME_DIR", top_.makeDirectory("run", 0700)) {
  options.tool = OperatingSystem::current().programFolder() + "ToolFinder";
  options.paths = {top_.makeDirectory("Apps")};
  options.stateDirectory = top_.path("state");
}

void CatalogHost::addApplication(std::string_view name, std::string_view extension) const {
  const std::string wrapper = std::string(name) + ".app";
  const std::string program(name.substr(name.rfind('/') + 1));
  top_.writeFile(wrapper + "/Resources/Info-quorvale.plist",
                 "{ NSExecutable = " + program + "; NSTypes = ( { NSExtensions = (" +
                     std::string(extension) + "); } ); }");
}

void CatalogHost::remove(std::string_view name) const {
  std::filesystem::remove_all(top_.path(name));
}

void CatalogHost::create() {
  catalog_.reset();
  auto created = ApplicationCatalog::create(options, [this](const CatalogUpdate &update) {
    ToldUpdate told{update.generation, {}, update.problems, {}};
    for (const CatalogChange &change : update.changes)
      told.changes.push_back(described(change));
    told.searchPaths.assign(update.searchPaths.begin(), update.searchPaths.end());
    updates.push_back(std::move(told));
    if (onUpdate)
      onUpdate(update);
  });
  if (auto *failure = std::get_if<SearchFailure>(&created))
    throw std::runtime_error(failure->reason);
  catalog_ = std::move(std::get<0>(created));
}

bool CatalogHost::isReady(std::chrono::milliseconds time) const {
  pollfd waiting{catalog_->descriptor(), POLLIN, 0};
  return ::poll(&waiting, 1, static_cast<int>(time.count())) == 1;
}

void CatalogHost::runUntil(const std::function<bool()> &isSo) {
  while (!isSo()) {
    ASSERT_TRUE(isReady(std::chrono::minutes(2)));
    catalog_->dispatch();
  }
}

ToldUpdate CatalogHost::nextUpdate() {
  const std::size_t before = updates.size();
  runUntil([&] { return updates.size() > before; });
  return updates.size() > before ? updates.back() : ToldUpdate{};
}

ToldUpdate CatalogHost::refresh() {
  catalog_->refresh();
  return nextUpdate();
}

std::vector<std::string> CatalogHost::handlers(std::string_view extension) {
  std::vector<std::string> names;
  for (const Handler &handler : catalog_->handlersOf(extension))
    names.emplace_back(handler.name);
  return names;
}

} // namespace tesker::test
