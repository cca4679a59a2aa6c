// The public face of a connection. Internal::Client does the work.
#include <platform/bus/Connection.h>

#include <cstring>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/Mutex.h>
#include <platform/core/internal/Environment.h>

namespace Quarnix::Bus {

namespace {

struct Default {
  Mutex mutex;
  Shared::Pointer<Connection> connection HEVRA_GUARDED_BY(mutex);
};

Default& processDefault() {
  static Default& state = *new Default;
  return state;
}

}  // namespace

Shared::Pointer<Connection> Connection::open(const std::string& where) {
  std::vector<Internal::Address> addresses;
  if (where == "system") {
    addresses = Internal::systemBusAddresses();
  } else if (where == "session") {
    addresses = Internal::sessionBusAddresses();
  } else if (where != "in-process") {
    addresses = Internal::parseAddresses(where);
  }
  return Shared::make<Connection>(std::make_shared<Internal::Client>(std::move(addresses)));
}

Shared::Pointer<Connection> Connection::getDefault() {
  Default& state = processDefault();
  MutexLock lock(state.mutex);
  if (!state.connection) {
    const char* const where = environmentValue("HEVRA_BUS");
    state.connection = open(where ? where : "system");
  }
  return state.connection;
}

void Connection::setDefault(Shared::Pointer<Connection> connection) {
  Default& state = processDefault();
  {
    MutexLock lock(state.mutex);
    state.connection.swap(connection);
  }
  // The former default is released here, with the mutex free.
}

Connection::Connection(std::shared_ptr<Internal::Client> client) noexcept : client_(std::move(client)) {}

Connection::~Connection() { client_->close(); }

void Connection::setLargestMessage(std::size_t callsAndSignals, std::size_t replies) {
  for (const std::size_t size : {callsAndSignals, replies})
    if (size < LEAST_LARGEST_MESSAGE)
      throw InvalidArgument("Largest message of " + std::to_string(size) + " bytes: expected at least " +
                            std::to_string(LEAST_LARGEST_MESSAGE));
  client_->setLargestMessage(callsAndSignals, replies);
}

Message::SendReturn Connection::call(Message::Method::Call& call) {
  const std::string destination = call.getDestination();
  Message::require(Message::checkBusName(destination), "destination of the call", destination);
  if (destination[0] == ':' || destination == Internal::DRIVER_NAME) return client_->call(call, {}, nullptr);

  // Only the owner of the name may answer, so the connection must know the owner during the call.
  struct Watch {
    Internal::Client& client;
    Internal::Host* host;
    ~Watch() { client.unwatch(host); }
  };
  const Watch watch{*client_, client_->watch(destination)};
  return client_->call(call, {}, watch.host);
}

void Connection::send(Message::Signal& signal) { client_->send(signal); }

void Connection::send(Message::Method::Return& reply) { client_->send(reply); }

void Connection::expectCalls() { client_->expectCalls(); }

void Connection::requestName(const std::string& name) { client_->requestName(name); }

void Connection::releaseName(const std::string& name) { client_->releaseName(name); }

void Connection::becomeMonitor(const std::vector<std::string>& rules) {
  Message::Method::Call call = Internal::driverCall("BecomeMonitor");
  call.setInterface("org.freedesktop.DBus.Monitoring");
  Message::Iterator arguments = call.begin();
  Message::Iterator list = arguments.begin(Message::ARRAY, Message::SIGNATURE_OF<std::string>.codes);
  for (const std::string& rule : rules) list.append(rule);
  arguments.end(list);
  arguments.append(std::uint32_t{0});
  client_->becomeMonitor(call);
}

std::string Connection::getNameOwner(const std::string& name) {
  Message::require(Message::checkBusName(name), "bus name", name);
  Message::Method::Call question = Internal::driverCall("GetNameOwner", name);
  const Message::Method::Return reply = client_->call(question, {}, nullptr);
  if (reply.isException()) {
    if (std::strcmp(reply.getErrorName(), "org.freedesktop.DBus.Error.NameHasNoOwner") == 0) return {};
    throw reply;
  }
  std::string owner;
  reply.begin().get(owner);
  return owner;
}

std::string Connection::getUniqueName() { return client_->uniqueName(); }

}  // namespace Quarnix::Bus
