// The observer's task asks the connection for the next change until there is none.
#include <platform/bus/ConnectionObserver.h>

#include <system_error>
#include <utility>

#include <platform/bus/connection/Client.h>
#include <platform/bus/object/Proxy.h>

namespace Quarnix::Bus {

ConnectionObserver::ConnectionObserver(Shared::Pointer<Connection> connection, std::vector<std::string> services)
    : connection_(std::move(connection)), services_(std::move(services)) {}

ConnectionObserver::ConnectionObserver(const Object::Proxy& proxy)
    : ConnectionObserver(proxy.getConnection(), {proxy.getHost()}) {}

ConnectionObserver::~ConnectionObserver() { retire(); }

void ConnectionObserver::start() {
  try {
    prepare();
  } catch (const std::system_error& error) {
    throw StartFailed(std::string("Cannot start the observer of a connection: ") + error.what());
  }
  if (Loop* const own = loop()) connection_->client().useLoop(*own);
  enable();
  connection_->client().observe(*this, services_);
}

void ConnectionObserver::stop() {
  connection_->client().unobserve(*this);
  disable();
}

void ConnectionObserver::retire() noexcept {
  ConnectionObserver::stop();
  Task::retire();
}

void ConnectionObserver::entry() {
  using Internal::Change;
  while (isEnabled()) {
    const Change change = connection_->client().nextChange(*this);
    switch (change.kind) {
      case Change::NONE:
        return;
      case Change::CONNECTED:
        connected(change.text);
        break;
      case Change::LOST:
        lost(change.text);
        break;
      case Change::SERVICE_UP:
        serviceUp(change.name, change.text);
        break;
      case Change::SERVICE_DOWN:
        serviceDown(change.name);
        break;
    }
  }
}

void ConnectionObserver::connected(const std::string&) {}
void ConnectionObserver::lost(const std::string&) {}
void ConnectionObserver::serviceUp(const std::string&, const std::string&) {}
void ConnectionObserver::serviceDown(const std::string&) {}

}  // namespace Quarnix::Bus
