// The public face of a connection. Internal::Client does the work.
#include <platform/bus/Connection.h>

#include <cstring>

#include <platform/bus/connection/AsyncCall.h>
#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/ReplyTask.h>
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

Connection::Connection(std::shared_ptr<Internal::Client> client)
    : client_(std::move(client)), replies_(std::make_unique<Internal::ReplyTask>(*client_)) {}

Connection::~Connection() {
  replies_.reset();
  client_->close();
}

void Connection::setDispatcher(Dispatcher& dispatcher) {
  replies_->setDispatcher(dispatcher);
  client_->useLoop(Loop::of(dispatcher));
}

void Connection::setLargestMessage(std::size_t callsAndSignals, std::size_t replies) {
  for (const std::size_t size : {callsAndSignals, replies})
    if (size < LEAST_LARGEST_MESSAGE)
      throw InvalidArgument("Largest message of " + std::to_string(size) + " bytes: expected at least " +
                            std::to_string(LEAST_LARGEST_MESSAGE));
  client_->setLargestMessage(callsAndSignals, replies);
}

void Connection::setLargestWindow(std::size_t calls) {
  if (calls == 0) throw InvalidArgument("Largest window of 0 calls: expected at least 1");
  client_->setLargestWindow(calls);
}

Counters Connection::getCounters() const { return client_->getCounters(); }

namespace {

/// Only the owner of a call's destination may answer it, so the connection knows the owner while a watch lives.
struct Watch {
  Watch(Internal::Client& watching, const Message::Method::Call& call) : client(watching) {
    const std::string destination = call.getDestination();
    Message::require(Message::checkBusName(destination), "destination of the call", destination);
    if (destination[0] != ':' && destination != Internal::DRIVER_NAME) host = client.watch(destination);
  }
  ~Watch() {
    if (host) client.unwatch(host);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  Internal::Client& client;
  Internal::Host* host = nullptr;
};

}  // namespace

Message::SendReturn Connection::call(Message::Method::Call& call) {
  const Watch watch(*client_, call);
  return client_->call(call, {}, watch.host);
}

PendingCall Connection::callAsync(Message::Method::Call call, Handler<Message::SendReturn> handler) {
  std::shared_ptr<Watch> watch;
  std::exception_ptr error;
  try {
    watch = std::make_shared<Watch>(*client_, call);
  } catch (...) {
    error = std::current_exception();  // the result raises it
  }
  // The handler keeps the watch until the call is over or given up.
  Internal::Host* const host = watch ? watch->host : nullptr;
  ReplyHandler reader =
      reading<Message::SendReturn>([](const Message::SendReturn& reply) { return reply; }, std::move(handler));
  auto pending = std::make_shared<Internal::AsyncCall>(
      std::move(call), std::string_view(), host, *replies_,
      [watch = std::move(watch), reader = std::move(reader)](const Reply& reply) { reader(reply); });
  if (error) {
    pending->fail(error);
  } else {
    client_->begin(pending);
  }
  return PendingCall(std::move(pending));
}

std::future<Message::SendReturn> Connection::callAsync(Message::Method::Call call) {
  return futureOf<Message::SendReturn>([&](auto handler) { callAsync(std::move(call), std::move(handler)); });
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
  const Message::SendReturn reply = client_->call(question, {}, nullptr);
  if (reply->isException()) {
    if (std::strcmp(reply->getErrorName(), "org.freedesktop.DBus.Error.NameHasNoOwner") == 0) return {};
    throw *reply;
  }
  std::string owner;
  reply->begin().get(owner);
  return owner;
}

std::string Connection::getUniqueName() { return client_->uniqueName(); }

}  // namespace Quarnix::Bus
