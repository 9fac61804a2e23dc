// IconHeaderTest.h - executables with an icon header, parsed.
#pragma once

#include "parsing/IconHeaderParser.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// An image with that header.
inline std::string headerImage(std::string_view header, Processor processor = kI386) {
  return iconImage(processor, header).bytes();
}

class IconHeader : public ::testing::Test {
protected:
  std::vector<std::string> parse(std::string_view dir, std::string_view file,
                                 NSFileManager &manager = NSFileManager::classObject()) {
    return recordTexts(
        parseApp(manager, NSString::create(dir), NSString::create(file), NSDefaultMallocZone()),
        directory_.path());
  }

  // Those of the executable "Foo" as they are.
  std::optional<Records> parseFoo() const {
    return parseApp(NSFileManager::classObject(), directory_.string(), "Foo"_ns,
                    NSDefaultMallocZone());
  }
  // The records of an executable "Foo" with this header.
  std::vector<std::string> parseHeader(std::string_view text) {
    directory_.writeFile("Foo", headerImage(text), 0755);
    return parse(directory_.path(), "Foo");
  }

  std::string badLine() const {
    return "*** Applications Finder: incorrect icon header format for " + directory_.path("Foo");
  }
  std::string badCommand() const {
    return "*** Applications Finder: incorrect command format for " + directory_.path("Foo");
  }

  const ScopedHostCpu host_{"i386"};
  const TemporaryDirectory directory_;
  LogCapture log_;
};

// A line of a header, and the record of it in the executable "Foo".
inline constexpr const char *kEditLine = "F\tEdit\tEditor\tedit\n";
inline constexpr const char *kEditRecord =
    "{type = app; name = Edit; appName = Editor; icon = edit; path = \"@/Foo\"; }";

} // namespace tesker::test
