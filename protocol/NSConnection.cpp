#include "protocol/NSConnection.h"

#include "protocol/BusConnection.h"
#include "protocol/BusObjects.h"
#include "protocol/NSRunLoop.h"

#include <cerrno>

namespace tesker {

RefPtr<NSConnection> NSConnection::initWithReceivePort(NSPort receivePort, NSPort sendPort,
                                                       Side side, std::size_t carryLimit) {
  Result<Ref<NSConnection>> connection =
      over(std::move(receivePort), std::move(sendPort), side, carryLimit);
  return connection ? RefPtr<NSConnection>(std::move(*connection)) : nullptr;
}

Result<Ref<NSConnection>> NSConnection::over(NSPort receivePort, NSPort sendPort, Side side,
                                             std::size_t carryLimit) {
  FileDescriptor input = takeReceiveRight(receivePort.machPort());
  FileDescriptor output = takeSendRight(sendPort.machPort());
  if (!input || !output)
    return Failure{EBADF};
  auto bus = BusConnection::over(std::move(input), std::move(output), side);
  if (!bus)
    return bus.failure();
  auto connection = allocate<NSConnection>(NSDefaultMallocZone(), std::move(*bus), carryLimit);
  connection->bus_->start();
  if (connection->lack() != 0)
    return Failure{connection->lack()};
  return connection;
}

NSConnection::NSConnection(std::unique_ptr<BusConnection> bus, std::size_t carryLimit)
    : bus_(std::move(bus)), served_(std::make_unique<ServedObjects>(*this, *bus_, carryLimit)),
      remoteRoot_(std::make_unique<RemoteRoot>(*bus_, *served_)) {}

NSConnection::~NSConnection() {
  if (runLoop_ != nullptr)
    runLoop_->removeConnection(*this);
}

void NSConnection::setRootObject(FinderRequests &root) {
  served_->setRoot(root);
  runLoop_ = &NSRunLoop::currentRunLoop();
  runLoop_->addConnection(*this);
}

FinderRequests &NSConnection::rootProxy() { return *remoteRoot_; }

bool NSConnection::isValid() const { return bus_->isOpen(); }

int NSConnection::lack() const { return bus_->lack(); }

bool NSConnection::hasUnsent() const { return bus_->hasUnsent(); }

void NSConnection::appendPollDescriptors(std::vector<pollfd> &descriptors) const {
  bus_->appendPollDescriptors(descriptors);
}

int NSConnection::pollTimeout() const {
  return isValid() && served_->hasCall() ? 0 : bus_->pollTimeout();
}

bool NSConnection::dispatch() {
  const Ref<NSConnection> kept(*this);
  const bool more = bus_->step();
  if (!isValid())
    served_->forgetCarried();
  return served_->makeCall() ? isValid() : more;
}

} // namespace tesker
