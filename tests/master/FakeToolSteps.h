// FakeToolSteps.h - what a tool does, step by step; a step that cannot be taken ends the process
// with a status of its own.
#pragma once

#include "platform/ports/Message.h"
#include "protocol/NSConnection.h"

#include <functional>
#include <string_view>
#include <vector>

namespace tesker::fake_tool {

[[noreturn]] void hang();

// ---- the hand-over ----

// The master's service, looked up.
port_t service();
// Sends a new port in a message of this number; gives the port.
port_t sendPort(std::uint32_t number);
// So many bytes of a good message, and of others behind it, with the descriptors.
void sendPacket(std::size_t length, const std::vector<int> &descriptors);
// The whole hand-over: the master's port; the tool's own is stored.
port_t handOver(port_t &ownPort);
// Writes all the bytes to the master.
void say(port_t masterPort, std::string_view bytes);
// The hand-over and the authentication by hand, so that the connection stands; the master's port.
port_t beginBus();
// The same; the tool's own port is stored.
port_t beginBus(port_t &ownPort);

// ---- the search ----

// Answers a request for the key, with the previous text.
using Answerer =
    std::function<void(const NSString &key, const NSString &previous, FinderClient &client)>;

// Connects and serves requests until the connection ends.
void serve(const Answerer &answerer);
// The answer and the end.
[[noreturn]] void answer(const NSString &text, const NSString &key, FinderClient &client);

inline const NSString kEmptyAnswer = "(0)"_ns;

} // namespace tesker::fake_tool
