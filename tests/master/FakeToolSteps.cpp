#include "tests/master/FakeToolSteps.h"

#include "platform/ports/Bootstrap.h"
#include "protocol/NSRunLoop.h"
#include "tests/ports/RawSockets.h"

#include <cstdlib>
#include <unistd.h>

namespace tesker::fake_tool {

namespace {

// A root object that leaves everything to the answerer.
class Root final : public FinderRequests {
public:
  explicit Root(const Answerer &answerer) : answerer_(answerer) {}
  void findAppsInSearchPath(const NSString &path, const NSString &previous,
                            Ref<FinderClient> client) override {
    answerer_(path, previous, *client);
  }
  void findAppsForDockPaths(const NSString &, const NSString &previous,
                            Ref<FinderClient> client) override {
    answerer_("Dock"_ns, previous, *client);
  }

private:
  const Answerer &answerer_;
};

} // namespace

void hang() {
  for (;;)
    ::pause();
}

port_t service() {
  port_t port = PORT_NULL;
  if (bootstrap_look_up(bootstrap_port(), "Miniapp_boot_port", port) != BOOTSTRAP_SUCCESS)
    std::exit(20);
  return port;
}

port_t sendPort(std::uint32_t number) {
  port_t port = PORT_NULL;
  if (port_allocate(task_self(), port) != KERN_SUCCESS ||
      msg_send(messageCarrying(port, service(), number), 0, 0) != 0)
    std::exit(21);
  return port;
}

void sendPacket(std::size_t length, const std::vector<int> &descriptors) {
  const std::string text = test::messageText(78) + test::messageText(78);
  if (!test::sendRaw(sendDescriptor(service()), text.substr(0, length), descriptors))
    std::exit(23);
}

port_t handOver(port_t &ownPort) {
  ownPort = sendPort(78);
  PortMessage reply;
  reply.msg_local_port = ownPort;
  if (msg_receive(reply, 0, 0) != 0 || reply.msg_id != 79)
    std::exit(22);
  return reply.port;
}

void say(port_t masterPort, std::string_view bytes) {
  if (!writeAll(sendDescriptor(masterPort), bytes))
    std::exit(25);
}

port_t beginBus() {
  port_t ownPort = PORT_NULL;
  return beginBus(ownPort);
}

port_t beginBus(port_t &ownPort) {
  const port_t masterPort = handOver(ownPort);
  say(masterPort, std::string_view("\0AUTH ANONYMOUS\r\n", 17));
  if (test::receiveRaw(receiveDescriptor(ownPort)).first.empty())
    std::exit(26);
  say(masterPort, "BEGIN\r\n");
  return masterPort;
}

void serve(const Answerer &answerer) {
  Root root(answerer);
  port_t ownPort = PORT_NULL;
  auto sendPort = NSPort::portWithMachPort(handOver(ownPort));
  const auto connection =
      NSConnection::initWithReceivePort(NSPort::portWithMachPort(ownPort), std::move(sendPort));
  if (!connection)
    std::exit(27);
  connection->setRootObject(root);
  NSRunLoop::currentRunLoop().run();
}

void answer(const NSString &text, const NSString &key, FinderClient &client) {
  client.noteLines(text, key);
  client.self();
  std::exit(0);
}

} // namespace tesker::fake_tool
