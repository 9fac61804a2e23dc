// A search of which a system call or an allocation fails, each of them in turn: its answer is
// right, or says that something is missing, or is not given at all.
#include "finding/ApplicationFinder.h"
#include "parsing/RecordDecoding.h"
#include "parsing/RecordEncoding.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/DescribingImage.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <system_error>

namespace tesker::test {
namespace {

using Fault = FaultyOperatingSystem::Fault;

constexpr int kOrdinary[] = {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, ENXIO};
constexpr int kOfTheDisk[] = {EIO, ESTALE, EBUSY, EOVERFLOW};
constexpr int kExhaustion[] = {ENOMEM, EMFILE, ENFILE};

std::string executable(std::string_view name, std::string_view suffix) {
  const std::string header = "F\t" + std::string(name) + "\tApplication\ticon\nS\t" +
                             std::string(suffix) + "\tApplication\n";
  return imageWithHeader(header);
}

// What came out of one search.
struct Found {
  std::vector<std::string> records; // with their paths
  bool answered = true;
  bool incomplete = false;
};

class SearchFaults : public ::testing::Test {
protected:
  SearchFaults() {
    directory_.writeFile("tree/a/one", executable("One", "1"), 0755);
    directory_.writeFile("tree/a/script", "#!/bin/sh\n", 0755);
    directory_.writeFile("tree/a/text", "no more than text");
    directory_.writeFile("tree/b/Two.app/Two", executable("Two", "2"), 0755);
    directory_.writeFile("tree/b/Two.app/Resources/Info-quorvale.plist",
                         "{NSExecutable = Two; NSTypes = ({NSExtensions = (two, zwei);});}");
    directory_.writeFile("tree/b/Three.app/Three", executable("Three", "3"), 0755);
    directory_.writeFile("tree/b/Three.app/Part.bundle/Part", executable("Part", "4"), 0755);
    directory_.writeFile("tree/b/Four.app/registry.table", "{NSDocumentTypes = {four = {};};}");
    directory_.makeLink("tree/link", "b");
    directory_.writeFile("tree/last", executable("Last", "5"), 0755);
    everything_ = search();
  }

  Found search(Fault fault = {}) {
    const LogCapture log;
    system_.fault = fault;
    system_.calls.clear();
    system_.log.clear();
    const ScopedOperatingSystem scope(system_);
    Found found;
    try {
      const NSString text =
          ApplicationFinder([] {}).findAppsInSearchPath(directory_.string("tree"), nullptr);
      system_.fault = {};
      found.records = recordTexts(decodeParsedApp(text, NSDefaultMallocZone()), directory_.path());
    } catch (const std::bad_alloc &) {
      found.answered = false;
    } catch (const std::system_error &) {
      found.answered = false;
    }
    system_.fault = {};
    found.incomplete = std::ranges::any_of(
        log.syslogged, [](const std::string &line) { return line.starts_with(kIncompleteLine); });
    return found;
  }

  // Whether only records of what the call was about are missing: those of the application, or of
  // the directory, that its path leads to.
  void expectNothingElseMissing(const Found &found, const std::string &call, bool ofDirectory) {
    const std::size_t start = call.find(directory_.path() + "/") + directory_.path().size() + 1;
    std::string about = call.substr(start, call.find(' ', start) - start);
    if (ofDirectory) // an entry that cannot be examined takes its directory along
      about = about.substr(0, about.rfind('/'));
    if (const std::size_t app = about.find(".app"); app != std::string::npos)
      about = about.substr(0, app + 4);
    std::vector<std::string> left;
    for (const std::string &record : everything_.records)
      if (record.find("@/" + about) == std::string::npos &&
          !(about.starts_with("tree/link") && record.find("@/tree/link") != std::string::npos))
        left.push_back(record);
    for (const std::string &record : left)
      EXPECT_THAT(found.records, ::testing::Contains(record)) << call;
  }

  const TemporaryDirectory directory_;
  FaultyOperatingSystem system_;
  Found everything_;
};

TEST_F(SearchFaults, NoneOfThemIsAWholeAnswer) {
  EXPECT_TRUE(everything_.answered);
  EXPECT_FALSE(everything_.incomplete);
  EXPECT_GE(everything_.records.size(), 20U);
}

TEST_F(SearchFaults, WhatIsNotThereOrNotOursIsPassedOverInSilence) {
  const std::vector<std::string> calls = system_.calls;
  for (std::size_t call = 1; call <= calls.size(); ++call)
    for (const int error : kOrdinary) {
      const Found found = search({call, error});
      EXPECT_TRUE(found.answered) << calls[call - 1] << " " << error;
      EXPECT_FALSE(found.incomplete) << calls[call - 1] << " " << error;
    }
}

TEST_F(SearchFaults, OfTheDiskAreToldOrCostNothing) {
  const std::vector<std::string> calls = system_.calls;
  for (std::size_t call = 1; call <= calls.size(); ++call)
    for (const int error : kOfTheDisk) {
      const Found found = search({call, error});
      EXPECT_TRUE(found.answered) << calls[call - 1] << " " << error;
      EXPECT_TRUE(found.incomplete) << calls[call - 1] << " " << error;
      expectNothingElseMissing(found, calls[call - 1], calls[call - 1].starts_with("statAt"));
    }
}

TEST_F(SearchFaults, OfMemoryAndDescriptorsLeaveNoAnswer) {
  const std::vector<std::string> calls = system_.calls;
  for (std::size_t call = 1; call <= calls.size(); ++call)
    for (const int error : kExhaustion)
      for (const bool andAllAfter : {false, true}) {
        const Found found = search({call, error, andAllAfter});
        EXPECT_FALSE(found.answered) << calls[call - 1] << " " << error;
      }
}

TEST_F(SearchFaults, OfAllocationsLeaveNoAnswer) {
  for (const auto which : {FailingAllocation::Which::one, FailingAllocation::Which::allFromThen})
    for (std::size_t number = 1;; ++number) {
      std::optional<NSString> text;
      bool happened = false;
      {
        const NSString path = directory_.string("tree");
        const FailingAllocation failure(number, which);
        try {
          text = ApplicationFinder([] {}).findAppsInSearchPath(path, nullptr);
        } catch (const std::bad_alloc &) {
        }
        happened = failure.hasHappened();
      }
      EXPECT_NE(happened, text.has_value()) << "allocation " << number;
      if (text) {
        EXPECT_EQ(recordTexts(decodeParsedApp(*text, NSDefaultMallocZone()), directory_.path()),
                  everything_.records);
        break;
      }
    }
}

} // namespace
} // namespace tesker::test
