// WrapperTest.h - application wrappers on disk, parsed.
#pragma once

#include "parsing/AppWrapperParser.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// The newer description of a wrapper, below it.
inline constexpr std::string_view kInfo = "/Resources/Info-quorvale.plist";

class Wrapper : public ::testing::Test {
protected:
  std::vector<std::string> parse(std::string_view file,
                                 OrderedListings::Order order = OrderedListings::Order::ascending) {
    OrderedListings listings(order);
    const ScopedOperatingSystem scope(listings);
    return recordTexts(parseAppWrapper(NSFileManager::classObject(), directory_.string(),
                                       NSString::create(file), NSDefaultMallocZone()),
                       directory_.path());
  }

  void write(std::string_view wrapper, std::string_view rest, std::string_view text) {
    directory_.writeFile(std::string(wrapper) + std::string(rest), text);
  }

  // Writes an executable that claims the extension c.
  void writeExecutable(std::string_view name) {
    directory_.writeFile(name, iconImage(kI386, "S\tc\tFoo\n").bytes(), 0755);
  }

  std::string at(std::string_view name) const { return directory_.path(name); }

  const ScopedHostCpu host_{"i386"};
  const TemporaryDirectory directory_;
  LogCapture log_;
};

} // namespace tesker::test
