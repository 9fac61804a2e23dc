// OrderedListings.h - the real system, but directories yield their names in a chosen order.
//
// A file system yields names in an order of its own, on which the order of records depends. Tests
// that are about that order choose it.
#pragma once

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker::test {

class OrderedListings : public OperatingSystem {
public:
  enum class Order { ascending, descending };
  explicit OrderedListings(Order order = Order::ascending) : order_(order) {}

  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    auto real = OperatingSystem::openDirectory(path);
    if (!real)
      return nullptr;
    std::vector<std::string> names;
    while (const auto name = real->next())
      names.emplace_back(*name);
    std::sort(names.begin(), names.end());
    if (order_ == Order::descending)
      std::reverse(names.begin(), names.end());
    return std::make_unique<Stream>(std::move(real), std::move(names));
  }

private:
  class Stream final : public DirectoryStream {
  public:
    Stream(std::unique_ptr<DirectoryStream> real, std::vector<std::string> names)
        : real_(std::move(real)), names_(std::move(names)) {}
    std::optional<std::string_view> next() override {
      if (next_ == names_.size())
        return std::nullopt;
      return names_[next_++];
    }
    int descriptor() const override { return real_->descriptor(); }

  private:
    std::unique_ptr<DirectoryStream> real_;
    std::vector<std::string> names_;
    std::size_t next_ = 0;
  };

  Order order_;
};

} // namespace tesker::test
