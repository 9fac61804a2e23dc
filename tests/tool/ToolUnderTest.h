// ToolUnderTest.h - the real tool process, and a master for it whose every step a test takes.
#pragma once

#include "platform/foundation/Files.h"
#include "platform/ports/BootstrapService.h"
#include "platform/ports/Message.h"
#include "protocol/NSConnection.h"
#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tesker::test {

// A started tool. Its standard error is kept; it is killed if it has not ended by itself.
class ToolUnderTest {
public:
  // Starts the tool with the bootstrap directory. prepare is called in the child before.
  explicit ToolUnderTest(const std::string &bootstrapDirectory,
                         const std::function<void()> &prepare = {},
                         const std::vector<std::string> &arguments = {});
  ~ToolUnderTest();
  ToolUnderTest(const ToolUnderTest &) = delete;
  ToolUnderTest &operator=(const ToolUnderTest &) = delete;

  pid_t process() const { return process_; }
  // Waits for the end; the exit status, or 1000 and more when a signal has killed it.
  int exitStatus();
  // The lines that it has logged in all its life. Waits for the end.
  std::vector<std::string> logLines();
  // Waits for the next line that it logs; "" at the end.
  std::string nextLogLine();

private:
  pid_t process_ = -1;
  std::optional<int> status_;
  FileDescriptor standardError_;
};

class NotingClient final : public FinderClient {
public:
  static Ref<NotingClient> create() { return allocate<NotingClient>(NSDefaultMallocZone()); }
  void noteLines(const NSString &text, const NSString &key) override {
    texts.push_back(text ? std::string(text.bytes()) : "nil");
    keys.emplace_back(key.bytes());
  }
  void self() override { ++selfCalls; }
  void noteProgress(const FinderProgress &progress) override {
    directories.emplace_back(progress.directory.bytes());
  }

  std::vector<std::string> texts, keys;
  std::vector<std::string> directories; // in which the tool has said that it was
  int selfCalls = 0;

private:
  friend NSObject;
  NotingClient() = default;
};

// The master's service in a directory of its own, and the steps of the hand-over.
class MasterInSteps {
public:
  MasterInSteps();
  const std::string &directory() const { return directory_; }

  // Waits for a tool and takes its message 78; the port leads to the tool.
  PortMessage receivePort();
  // Sends the tool a message with this id and a fresh port, whose number it gives.
  port_t sendPort(port_t toTool, std::uint32_t id);
  // Sends these bytes instead, with the descriptors.
  void sendBytes(port_t toTool, std::string_view bytes, const std::vector<int> &descriptors = {});
  // The whole hand-over, and what is left of it when the tool's port is there.
  RefPtr<NSConnection> connect() { return connect(receivePort().port); }
  RefPtr<NSConnection> connect(port_t toTool);
  // The service ends, and with it the sign of life.
  void goAway() { service_.reset(); }
  // The same, and the ports that the tools have sent are given up.
  void forgetTools();

private:
  TemporaryDirectory temporary_;
  std::string directory_ = temporary_.makeDirectory("names", 0700);
  std::unique_ptr<BootstrapService> service_;
  std::vector<port_t> toTools_;
};

// Serves the connection until what is waited for has come, or the connection has ended.
bool serve(NSConnection &connection, const std::function<bool()> &done);

} // namespace tesker::test
