#include "tests/tool/ToolUnderTest.h"

#include "protocol/HandOver.h"
#include "tests/ports/RawSockets.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {

namespace {

[[noreturn]] void becomeTool(const std::string &bootstrapDirectory,
                             const std::function<void()> &prepare,
                             const std::vector<std::string> &arguments) {
  ::setenv("TESKER_BOOTSTRAP_DIR", bootstrapDirectory.c_str(), 1);
  ::setenv("TESKER_LOG_STDERR", "1", 1);
  std::vector<char *> vector{const_cast<char *>(TESKER_TOOL)};
  for (const std::string &argument : arguments)
    vector.push_back(const_cast<char *>(argument.c_str()));
  vector.push_back(nullptr);
  if (prepare)
    prepare();
  ::execv(TESKER_TOOL, vector.data());
  ::_exit(99);
}

} // namespace

ToolUnderTest::ToolUnderTest(const std::string &bootstrapDirectory,
                             const std::function<void()> &prepare,
                             const std::vector<std::string> &arguments) {
  Pipe pipe = std::move(*createPipe());
  standardError_ = std::move(pipe.readEnd);
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(pipe.writeEnd.number(), STDERR_FILENO);
    becomeTool(bootstrapDirectory, prepare, arguments);
  }
}

ToolUnderTest::~ToolUnderTest() {
  if (!status_)
    ::kill(process_, SIGKILL);
  exitStatus();
}

int ToolUnderTest::exitStatus() {
  if (!status_) {
    int status = 0;
    EXPECT_EQ(::waitpid(process_, &status, 0), process_);
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  return *status_;
}

std::string ToolUnderTest::nextLogLine() {
  std::string line;
  char byte = 0;
  while (::read(standardError_.number(), &byte, 1) == 1 && byte != '\n')
    line += byte;
  return line;
}

std::vector<std::string> ToolUnderTest::logLines() {
  std::vector<std::string> lines;
  for (std::string line = nextLogLine(); !line.empty(); line = nextLogLine())
    lines.push_back(line);
  exitStatus();
  return lines;
}

MasterInSteps::MasterInSteps() {
  auto service = BootstrapService::checkIn(directory_, kMasterServiceName);
  EXPECT_EQ(service.error(), 0);
  if (service)
    service_ = std::move(*service);
}

PortMessage MasterInSteps::receivePort() {
  pollfd waiting{service_->descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&waiting, 1, -1), 1);
  PortMessage message;
  message.msg_local_port = *service_->acceptConnection();
  EXPECT_EQ(msg_receive(message, 0, 0), 0);
  toTools_.push_back(message.port);
  return message;
}

void MasterInSteps::forgetTools() {
  goAway();
  for (const port_t port : toTools_)
    port_deallocate(port);
}

port_t MasterInSteps::sendPort(port_t toTool, std::uint32_t id) {
  port_t port = PORT_NULL;
  EXPECT_EQ(port_allocate(task_self(), port), KERN_SUCCESS);
  EXPECT_EQ(msg_send(messageCarrying(port, toTool, id), 0, 0), 0);
  return port;
}

void MasterInSteps::sendBytes(port_t toTool, std::string_view bytes,
                              const std::vector<int> &descriptors) {
  EXPECT_TRUE(sendRaw(sendDescriptor(toTool), bytes, descriptors));
}

RefPtr<NSConnection> MasterInSteps::connect(port_t toTool) {
  const port_t fromTool = sendPort(toTool, kMasterPortMessage);
  return NSConnection::initWithReceivePort(NSPort::portWithMachPort(fromTool),
                                           NSPort::portWithMachPort(toTool),
                                           NSConnection::Side::server);
}

bool serve(NSConnection &connection, const std::function<bool()> &done) {
  while (connection.isValid() && !done()) {
    if (connection.dispatch() || !connection.isValid())
      continue;
    std::vector<pollfd> descriptors;
    connection.appendPollDescriptors(descriptors);
    ::poll(descriptors.data(), descriptors.size(), connection.pollTimeout());
  }
  return done();
}

} // namespace tesker::test
