// The tool object, in the process of the test; the master is a process of its own.

#include "platform/foundation/NSUserDefaults.h"
#include "platform/ports/Bootstrap.h"
#include "protocol/FinderProtocol.h"
#include "protocol/HandOver.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"
#include "tests/tool/ToolUnderTest.h"
#include "tool/ToolFinderTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace tesker {
namespace {

using test::inChild;
using test::LogCapture;
using test::MasterInSteps;
using test::NotingClient;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<NSString> &searchList() {
  return NSUserDefaults::standardUserDefaults().searchList();
}

NSString settingOf(std::string_view key) {
  return NSUserDefaults::standardUserDefaults().stringForKey(key);
}

// A tool whose requests raise.
class RaisingTool final : public TeskerTool {
public:
  static Ref<RaisingTool> create() { return allocate<RaisingTool>(NSDefaultMallocZone()); }
  void findAppsInSearchPath(const NSString &, const NSString &, Ref<FinderClient>) override {
    throw std::runtime_error("raised");
  }
  void findAppsForDockPaths(const NSString &, const NSString &, Ref<FinderClient>) override {}

private:
  friend NSObject;
  RaisingTool() = default;
};

class ToolObject : public testing::Test {
protected:
  ToolObject() { ::setenv("TESKER_BOOTSTRAP_DIR", master.directory().c_str(), 1); }
  ~ToolObject() override { ::unsetenv("TESKER_BOOTSTRAP_DIR"); }

  // Runs the tool's part in a child, and the master's here, after the hand-over.
  void withConnectedMaster(const std::function<void()> &tool,
                           const std::function<void(NSConnection &)> &playMaster = {}) {
    std::cout.flush();
    const pid_t child = ::fork();
    if (child == 0) {
      tool();
      std::cout.flush();
      ::_exit(HasFailure() ? 1 : 0);
    }
    auto connection = master.connect();
    if (playMaster)
      playMaster(*connection);
    connection = nullptr; // hangs up
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }

  MasterInSteps master;
  LogCapture log;
};

TEST_F(ToolObject, ConnectedIsTheToolOfTheProcess) {
  withConnectedMaster([] {
    const auto tool = ToolFinderTool::create();
    ASSERT_TRUE(tool);
    EXPECT_EQ(NSTool, tool.pointer());
  });
}

TEST_F(ToolObject, ConnectedPutsTheDomainTeskerBeforeAllOthers) {
  withConnectedMaster([] {
    std::vector<NSString> expected = searchList();
    ASSERT_FALSE(expected.empty());
    expected.insert(expected.begin(), "Tesker"_ns);
    ASSERT_TRUE(ToolFinderTool::create());
    EXPECT_EQ(searchList(), expected);
  });
}

TEST_F(ToolObject, ConnectedRegistersTheBuiltInDefaults) {
  const test::TemporaryDirectory settings;
  ::setenv("XDG_CONFIG_HOME", settings.path().c_str(), 1);
  ::setenv("XDG_CONFIG_DIRS", settings.path().c_str(), 1);
  withConnectedMaster([] {
    ASSERT_TRUE(ToolFinderTool::create());
    EXPECT_EQ(settingOf("rm"), "/bin/rm");
    EXPECT_EQ(settingOf("tar"), "/usr/bin/gnutar");
    EXPECT_EQ(settingOf("compress"), "/usr/bin/compress");
    EXPECT_EQ(settingOf("uncompress"), "/usr/bin/uncompress");
    EXPECT_EQ(settingOf("AlwaysTarForCompress"), "Yes");
  });
}

TEST_F(ToolObject, TheMastersOwnSettingsOverrideTheBuiltInDefaults) {
  const test::TemporaryDirectory settings;
  settings.writeFile("tesker/defaults/Tesker.plist", "{rm = /usr/local/bin/rm; }");
  ::setenv("XDG_CONFIG_HOME", settings.path().c_str(), 1);
  withConnectedMaster([] {
    ASSERT_TRUE(ToolFinderTool::create());
    EXPECT_EQ(settingOf("rm"), "/usr/local/bin/rm");
  });
}

TEST_F(ToolObject, NotConnectedIsNilAndRegistersNothing) {
  master.goAway();
  inChild([&] {
    const std::vector<NSString> before = searchList();
    EXPECT_FALSE(ToolFinderTool::create());
    EXPECT_EQ(NSTool, nullptr);
    EXPECT_THAT(log.syslogged, ElementsAre("TeskerTool: Cannot get bootstrap port : 1102"));
    EXPECT_EQ(searchList(), before);
    EXPECT_FALSE(settingOf("rm"));
  });
}

TEST_F(ToolObject, AServiceThatTakesNoMessageIsLogged) {
  // It lives, but reads no more.
  port_t service = PORT_NULL;
  const test::TemporaryDirectory temporary;
  ::setenv("TESKER_BOOTSTRAP_DIR", temporary.path().c_str(), 1);
  const auto deaf = BootstrapService::checkIn(temporary.path(), kMasterServiceName);
  ASSERT_TRUE(deaf);
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, service), 0);
  ASSERT_EQ(::shutdown(receiveDescriptor(*(*deaf)->acceptConnection()), SHUT_RD), 0);
  const auto before = test::openDescriptorCount();
  EXPECT_FALSE(newSlave());
  EXPECT_THAT(log.syslogged,
              ElementsAre("TeskerTool: Cannot send port listening on : " + std::to_string(EPIPE)));
  EXPECT_EQ(test::openDescriptorCount(), before);
}

TEST_F(ToolObject, AnExceptionOutOfTheRunLoopIsLoggedAndEndsRun) {
  withConnectedMaster(
      [&] {
        const auto tool = RaisingTool::create();
        ASSERT_TRUE(tool->init());
        tool->run();
        EXPECT_THAT(log.syslogged,
                    ElementsAre("TeskerTool [" + std::to_string(::getpid()) + "] exception"));
      },
      [](NSConnection &connection) {
        connection.rootProxy().findAppsInSearchPath("/p"_ns, nullptr, NotingClient::create());
        (void)test::serve(connection, [] { return false; });
      });
}

TEST_F(ToolObject, RunReturnsWhenTheConnectionEnds) {
  withConnectedMaster(
      [&] {
        const auto tool = RaisingTool::create();
        ASSERT_TRUE(tool->init());
        tool->run();
        EXPECT_THAT(log.syslogged, IsEmpty());
      },
      [](NSConnection &connection) {
        connection.rootProxy().findAppsForDockPaths("/p"_ns, nullptr, NotingClient::create());
        EXPECT_TRUE(test::serve(connection, [&] { return !connection.hasUnsent(); }));
      });
}

TEST_F(ToolObject, TerminateAsksTheClientForSelfAndEndsWithStatusZero) {
  class Client final : public FinderClient {
  public:
    static Ref<Client> create() { return allocate<Client>(NSDefaultMallocZone()); }
    void noteLines(const NSString &, const NSString &) override {}
    void self() override { std::fputs("asked for self", stderr); }
  };
  const auto client = Client::create();
  const auto tool = RaisingTool::create();
  EXPECT_EXIT(tool->terminate(*client), testing::ExitedWithCode(0), "^asked for self$");
}

TEST_F(ToolObject, TheMasterIsAliveWhileItsServiceIs) {
  const auto tool = RaisingTool::create();
  tool->checkMasterStillAlive();
  tool->checkMasterStillAlive();
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST_F(ToolObject, AMasterThatHasGoneEndsTheProcessWithStatus255) {
  const auto tool = RaisingTool::create();
  tool->checkMasterStillAlive();
  master.goAway();
  setLogSink(nullptr); // so that the line comes to the standard error
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  EXPECT_EXIT(tool->checkMasterStillAlive(), testing::ExitedWithCode(255),
              "^Tool: bootstrap port died: 1102; exiting\n$");
  ::unsetenv("TESKER_LOG_STDERR");
}

TEST_F(ToolObject, AMasterThatHasGoneIsLoggedHoweverMuchTheSearchHasLogged) {
  const auto tool = RaisingTool::create();
  master.goAway();
  setLogSink(nullptr);
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  EXPECT_EXIT(
      {
        const LogBound bound(0);
        syslogError("a faulty file");
        tool->checkMasterStillAlive();
      },
      testing::ExitedWithCode(255),
      "^\\*\\*\\* Log: 1 more lines left out\nTool: bootstrap port died: 1102; exiting\n$");
  ::unsetenv("TESKER_LOG_STDERR");
}

} // namespace
} // namespace tesker
