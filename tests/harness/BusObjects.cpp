// Bus objects of a few lines.
#include <tests/harness/BusObjects.h>

#include <utility>

namespace Quarnix::Harness {

Call callTo(const char* member, const std::string& text) {
  Call call;
  call.setInterface(INTERFACE);
  call.setMember(member);
  call.begin().append(text);
  return call;
}

Signal signalOf(const char* member, const std::string& text, const char* path, const char* interface) {
  Signal signal(path, interface, member);
  signal.begin().append(text);
  return signal;
}

std::string textOf(const Bus::Message::Base& message) {
  const auto first = message.begin();
  return first.type() == 's' ? std::string(first.getText()) : std::string();
}

std::string textOf(const Bus::Message::SendReturn& reply) {
  return reply->isException() ? std::string("!") + reply->getErrorName() : textOf(*reply);
}

std::string error(const char* name) { return std::string("!org.freedesktop.DBus.Error.") + name; }

TestServer::TestServer(Shared::Pointer<Connection> connection, Hook hook, const char* path) : hook_(std::move(hook)) {
  setConnection(std::move(connection));
  setPath(path);
}

void TestServer::serve(TestServer& server, const std::string& name) {
  server.start(true);
  server.getConnection()->requestName(name);
}

void TestServer::answer(const Call& call, const std::string& text) {
  Return reply(call);
  reply.begin().append(text);
  send(reply);
}

bool TestServer::echo(TestServer& self, const Call& call) {
  self.answer(call, textOf(call));
  return true;
}

bool TestServer::method(const Call& call) {
  calls.add(call);
  return hook_(*this, call);
}

TestProxy::TestProxy(Shared::Pointer<Connection> connection, const std::string& host, Hook hook, const char* path)
    : hook_(std::move(hook)) {
  setConnection(std::move(connection));
  setHost(host.c_str());
  setPath(path);
}

std::string TestProxy::ask(const char* member, const std::string& text) const {
  Call call = callTo(member, text);
  return textOf(send(call));
}

std::vector<std::string> TestProxy::heard(std::size_t count) {
  signals.await(count);
  std::vector<std::string> texts;
  for (const Signal& signal : signals.all()) texts.push_back(textOf(signal));
  return texts;
}

void TestProxy::signal(const Signal& signal) {
  if (hook_) hook_(*this, signal);
  signals.add(signal);
}

TestObserver::TestObserver(Shared::Pointer<Connection> connection, std::vector<std::string> services, Hook hook)
    : ConnectionObserver(std::move(connection), std::move(services)), hook_(std::move(hook)) {}

std::vector<std::string> TestObserver::heard(std::size_t count) {
  changes.await(count);
  return changes.take();
}

void TestObserver::tell(const std::string& change) {
  changes.add(change);
  if (hook_) hook_(*this, change);
}

}  // namespace Quarnix::Harness
