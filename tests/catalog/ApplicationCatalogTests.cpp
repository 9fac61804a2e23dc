// The catalog in the event loop of a host, with the real tool.

#include "tests/catalog/CatalogHost.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tests/support/LogCapture.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <stdexcept>
#include <sys/file.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = CatalogProblem::Kind;

class Catalog : public testing::Test {
protected:
  void SetUp() override {
    host_.addApplication("Apps/Edit", "txt");
    host_.create();
  }
  ApplicationCatalog &catalog() { return host_.catalog(); }
  CatalogPathState state() { return catalog().state(host_.options.paths[0]); }
  // A tool in the place of the real one.
  void useTool(std::string_view script) {
    host_.options.tool = host_.top().writeFile("tool", script, 0755);
  }

  const LogCapture log_;
  CatalogHost host_;
};

// ---- rounds ----

TEST_F(Catalog, WithoutStateKnowsNothingUntilTheFirstRoundTellsAllAsAdded) {
  EXPECT_THAT(catalog().records(), IsEmpty());
  EXPECT_FALSE(state().isKnown);
  EXPECT_FALSE(host_.isReady());
  const ToldUpdate update = host_.refresh();
  EXPECT_EQ(update.generation, 1U);
  EXPECT_THAT(update.changes, ElementsAre("added txt " + host_.path("Apps/Edit.app/Edit"),
                                          "added Edit " + host_.path("Apps/Edit.app/Edit")));
  EXPECT_THAT(update.problems, IsEmpty());
  EXPECT_THAT(catalog().records(), SizeIs(2));
  EXPECT_TRUE(state().isKnown);
}

TEST_F(Catalog, ARoundWithoutADifferenceIsToldWithTheSameGeneration) {
  host_.refresh();
  const ToldUpdate update = host_.refresh();
  EXPECT_EQ(update.generation, 1U);
  EXPECT_THAT(update.changes, IsEmpty());
  EXPECT_THAT(update.searchPaths, ElementsAre(host_.path("Apps")));
}

TEST_F(Catalog, TellsOfOneRoundWhatWasAddedRemovedAndChanged) {
  host_.addApplication("Apps/Mail", "mbox");
  host_.refresh();
  host_.remove("Apps/Mail.app");
  host_.addApplication("Apps/Draw", "eps");
  host_.top().writeFile(
      "Apps/Edit.app/Resources/Info-quorvale.plist",
      "{ NSExecutable = Edit; NSTypes = ({ NSIcon = page; NSExtensions = (txt); }); }");
  const ToldUpdate update = host_.refresh();
  EXPECT_EQ(update.generation, 2U);
  EXPECT_THAT(update.changes,
              testing::UnorderedElementsAre("removed Mail " + host_.path("Apps/Mail.app/Mail"),
                                            "removed mbox " + host_.path("Apps/Mail.app/Mail"),
                                            "added Draw " + host_.path("Apps/Draw.app/Draw"),
                                            "added eps " + host_.path("Apps/Draw.app/Draw"),
                                            "changed txt " + host_.path("Apps/Edit.app/Edit")));
}

TEST_F(Catalog, SeveralPathsEndInOneRoundAndStandInTheirOrder) {
  host_.addApplication("More/Zap", "txt");
  host_.addApplication("Most/Ace", "txt");
  host_.options.paths = {host_.path("More"), host_.path("Apps"), host_.path("Most")};
  host_.options.jobs = 1;
  host_.create();
  const ToldUpdate update = host_.refresh();
  EXPECT_THAT(update.changes, SizeIs(6));
  EXPECT_THAT(update.searchPaths,
              ElementsAre(host_.path("More"), host_.path("Apps"), host_.path("Most")));
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Zap", "Edit", "Ace"));
  host_.remove("Apps/Edit.app");
  host_.addApplication("More/Zoo", "zoo");
  EXPECT_THAT(host_.refresh().changes, SizeIs(4));
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Zap", "Ace"));
}

TEST_F(Catalog, OnlyThePathThatIsAskedForIsSearched) {
  host_.options.paths.push_back(host_.top().makeDirectory("More"));
  host_.create();
  catalog().refresh(host_.path("More"));
  EXPECT_THAT(host_.nextUpdate().searchPaths, ElementsAre(host_.path("More")));
  catalog().refresh("/not/among/them");
  host_.runUntil([&] { return !host_.isReady(); });
  EXPECT_THAT(host_.updates, SizeIs(1));
}

TEST_F(Catalog, APathThatIsAskedForWhileItIsSearchedHasARoundOfItsOwnAfterThat) {
  catalog().refresh();
  catalog().dispatch(); // it begins
  catalog().refresh();
  catalog().refresh();
  host_.nextUpdate();
  host_.nextUpdate();
  host_.runUntil([&] { return !host_.isReady(); });
  EXPECT_THAT(host_.updates, SizeIs(2));
}

TEST_F(Catalog, LooksByItselfAtIntervals) {
  host_.options.pollInterval = std::chrono::milliseconds(1);
  host_.create();
  host_.refresh();
  host_.addApplication("Apps/Mail", "mbox");
  host_.runUntil([&] { return catalog().generation() == 2; });
  EXPECT_THAT(host_.handlers("mbox"), ElementsAre("Mail"));
}

// ---- the callback ----

TEST_F(Catalog, MayBeDestroyedByItsListener) {
  host_.onUpdate = [&](const CatalogUpdate &update) {
    EXPECT_EQ(valueOf(*update.changes.at(0).after, "name"), "txt");
    host_.destroy();
  };
  catalog().refresh();
  while (host_.updates.empty())
    if (host_.isReady(std::chrono::minutes(1)))
      catalog().dispatch();
}

TEST_F(Catalog, MayBeRefreshedButNotDispatchedByItsListener) {
  host_.onUpdate = [&](const CatalogUpdate &) {
    if (host_.updates.size() > 1)
      return;
    catalog().refresh();
    catalog().dispatch();
  };
  host_.refresh();
  EXPECT_THAT(host_.updates, SizeIs(1));
  host_.nextUpdate();
  EXPECT_THAT(host_.updates, SizeIs(2));
}

TEST_F(Catalog, GoesOnAfterAListenerThatThrows) {
  host_.onUpdate = [](const CatalogUpdate &) { throw std::runtime_error("no"); };
  catalog().refresh();
  EXPECT_THROW(host_.runUntil([] { return false; }), std::runtime_error);
  EXPECT_THAT(catalog().records(), SizeIs(2));
  host_.onUpdate = {};
  EXPECT_EQ(host_.refresh().generation, 1U);
}

// ---- what is taken ----

TEST_F(Catalog, KeepsWhatItKnowsWhenASearchFails) {
  host_.refresh();
  useTool("#!/bin/sh\nexit 3\n");
  host_.create();
  const ToldUpdate update = host_.refresh();
  ASSERT_THAT(update.problems, SizeIs(1));
  EXPECT_EQ(update.problems[0].kind, Kind::searchFailed);
  EXPECT_THAT(catalog().records(), SizeIs(2));
  EXPECT_EQ(update.generation, 0U);
}

TEST_F(Catalog, ATooLongAnswerFailsByItself) {
  host_.refresh();
  host_.options.timeout = std::chrono::milliseconds(1);
  useTool("#!/bin/sh\nsleep 100\n");
  host_.create();
  EXPECT_EQ(host_.refresh().problems.at(0).kind, Kind::searchFailed);
  EXPECT_THAT(catalog().records(), SizeIs(2));
}

TEST_F(Catalog, TakesAnAnswerThatLacksSomethingOnlyWhereNothingBetterIsKnown) {
  host_.refresh();
  const std::string tool = host_.options.tool;
  useTool("#!/bin/sh\necho '*** Applications Finder: incomplete: the disk failed' >&2\nexec " +
          tool + "\n");
  host_.create();
  host_.addApplication("Apps/Mail", "mbox");
  const ToldUpdate update = host_.refresh();
  ASSERT_THAT(update.problems, SizeIs(1));
  EXPECT_EQ(update.problems[0].kind, Kind::incomplete);
  EXPECT_EQ(update.problems[0].reason, "the disk failed");
  EXPECT_THAT(catalog().records(), SizeIs(2));
  EXPECT_FALSE(state().isIncomplete);

  host_.options.stateDirectory = host_.path("another");
  host_.create();
  EXPECT_THAT(host_.refresh().changes, SizeIs(4));
  EXPECT_TRUE(state().isIncomplete);
  EXPECT_FALSE(std::filesystem::exists(host_.path("another")));
}

TEST_F(Catalog, KeepsWhatItKnowsAsStaleWhileThePathIsGone) {
  host_.refresh();
  std::filesystem::rename(host_.path("Apps"), host_.path("Away"));
  const ToldUpdate gone = host_.refresh();
  ASSERT_THAT(gone.problems, SizeIs(1));
  EXPECT_EQ(gone.problems[0].kind, Kind::pathGone);
  EXPECT_THAT(gone.changes, IsEmpty());
  EXPECT_TRUE(state().isStale);
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Edit"));
  std::filesystem::rename(host_.path("Away"), host_.path("Apps"));
  const ToldUpdate back = host_.refresh();
  EXPECT_THAT(back.problems, IsEmpty());
  EXPECT_THAT(back.changes, IsEmpty());
  EXPECT_FALSE(state().isStale);
}

TEST_F(Catalog, AFileInThePlaceOfThePathIsAPathThatIsGone) {
  host_.refresh();
  host_.remove("Apps");
  host_.top().writeFile("Apps", "");
  EXPECT_EQ(host_.refresh().problems.at(0).kind, Kind::pathGone);
  EXPECT_TRUE(state().isStale);
}

TEST_F(Catalog, AnEmptyPathIsEmpty) {
  host_.refresh();
  host_.remove("Apps/Edit.app");
  const ToldUpdate update = host_.refresh();
  EXPECT_THAT(update.problems, IsEmpty());
  EXPECT_THAT(update.changes, SizeIs(2));
  EXPECT_THAT(catalog().records(), IsEmpty());
}

TEST_F(Catalog, SaysThatAPathWasNeverThere) {
  host_.options.paths = {host_.path("Missing")};
  host_.create();
  EXPECT_EQ(host_.refresh().problems.at(0).kind, Kind::pathGone);
  EXPECT_TRUE(state().isKnown);
  EXPECT_FALSE(state().isStale);
}

// ---- state on disk ----

TEST_F(Catalog, KnowsAtOnceWhatWasSavedLast) {
  host_.refresh();
  host_.create();
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Edit"));
  EXPECT_TRUE(state().isKnown);
  EXPECT_EQ(catalog().generation(), 0U);
  const ToldUpdate update = host_.refresh();
  EXPECT_THAT(update.changes, IsEmpty());
  EXPECT_EQ(update.generation, 0U);
}

TEST_F(Catalog, FindsEverythingAgainWhereTheStateIsDamaged) {
  host_.refresh();
  host_.destroy();
  for (const auto &entry : std::filesystem::directory_iterator(host_.path("state")))
    if (!entry.path().has_extension())
      std::filesystem::resize_file(entry.path(), 100);
  host_.create();
  EXPECT_THAT(catalog().records(), IsEmpty());
  EXPECT_THAT(host_.refresh().changes, SizeIs(2));
  host_.create();
  EXPECT_THAT(catalog().records(), SizeIs(2));
}

TEST_F(Catalog, WithoutStateThereIsNoFile) {
  host_.options.keepsState = false;
  host_.create();
  host_.refresh();
  host_.destroy();
  EXPECT_FALSE(std::filesystem::exists(host_.path("state")));
}

TEST_F(Catalog, SaysOnceThatTheStateCannotBeSaved) {
  host_.top().writeFile("file", "");
  host_.options.stateDirectory = host_.path("file/state");
  host_.create();
  EXPECT_EQ(host_.refresh().problems.at(0).kind, Kind::notSaved);
  EXPECT_THAT(catalog().records(), SizeIs(2));
  EXPECT_THAT(host_.refresh().problems, IsEmpty());
}

TEST_F(Catalog, SavesLaterWhatAnotherProcessKeepsFromBeingSaved) {
  host_.refresh();
  std::string lock;
  for (const auto &entry : std::filesystem::directory_iterator(host_.path("state")))
    if (entry.path().extension() == ".lock")
      lock = entry.path();
  const int other = ::open(lock.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(other, LOCK_EX), 0);
  host_.addApplication("Apps/Mail", "mbox");
  EXPECT_THAT(host_.refresh().problems, IsEmpty());
  ::close(other);
  ASSERT_TRUE(host_.isReady(std::chrono::minutes(1)));
  catalog().dispatch();
  CatalogHost reader;
  reader.options = host_.options;
  reader.create();
  EXPECT_THAT(reader.catalog().records(), SizeIs(4));
}

// ---- where the system refuses ----

TEST_F(Catalog, CannotBeMadeWhereNothingCanBeWaitedFor) {
  for (const std::string_view call : {"createEventPoll", "createTimer"}) {
    FaultyOperatingSystem system([call](std::string_view name, int) { return name == call; });
    system.fault = {.call = 1, .error = EMFILE};
    const ScopedOperatingSystem inForce(system);
    const auto created = ApplicationCatalog::create(host_.options, {});
    ASSERT_TRUE(std::holds_alternative<SearchFailure>(created));
    EXPECT_EQ(std::get<SearchFailure>(created).kind, SearchFailure::Kind::cannotSearch);
  }
}

TEST_F(Catalog, KeepsWhatItKnowsWhereNoToolCanBeStarted) {
  host_.refresh();
  FaultyOperatingSystem system([](std::string_view name, int) { return name == "fork"; });
  system.fault = {.call = 1, .error = EAGAIN, .andAllAfter = true};
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(host_.refresh().problems.at(0).kind, Kind::searchFailed);
  EXPECT_THAT(catalog().records(), SizeIs(2));
}

// ---- look-ups ----

TEST_F(Catalog, AnswersFromMemoryAsTheCommandDoes) {
  host_.addApplication("Apps/Note", "TXT, rtf");
  host_.refresh();
  EXPECT_THAT(catalog().types(), ElementsAre("TXT", "rtf", "txt"));
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Edit"));
  EXPECT_THAT(host_.handlers("Rtf"), ElementsAre("Note"));
  EXPECT_THAT(catalog().programsCalled("edit"), SizeIs(1));
  EXPECT_THAT(catalog().programs(), SizeIs(2));
  host_.addApplication("Apps/Again", "rtf");
  host_.refresh();
  const std::vector<Handler> preferred = catalog().handlersOf("rtf", {{"rtf", "Again"}});
  ASSERT_THAT(preferred, SizeIs(2));
  EXPECT_EQ(preferred[0].name, "Again");
  EXPECT_TRUE(preferred[0].preferred);
}

} // namespace
} // namespace tesker::test
