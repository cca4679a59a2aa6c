// Bus objects whose hooks are given by the test, and calls in one line.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <platform/bus/ConnectionObserver.h>
#include <platform/bus/object/Proxy.h>
#include <platform/bus/object/Server.h>
#include <tests/harness/Waiting.h>

namespace Quarnix::Harness {

using Bus::Connection;
using Bus::Message::Signal;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

/// The service's name, the interface and the path of everything here.
constexpr const char* NAME = "com.example.Service";
constexpr const char* INTERFACE = "com.example.Test";
constexpr const char* PATH = "/test/object";

/// A call to `member`.
inline Call callTo(const char* member, const std::string& text = {}) {
  Call call;
  call.setInterface(INTERFACE);
  call.setMember(member);
  call.begin().append(text);
  return call;
}
/// A signal of the object at PATH.
inline Signal signalOf(const char* member, const std::string& text, const char* path = PATH,
                       const char* interface = INTERFACE) {
  Signal signal(path, interface, member);
  signal.begin().append(text);
  return signal;
}
/// The first argument if it is a text; "!" and the name of an error.
inline std::string textOf(const Bus::Message::Base& message) {
  const auto first = message.begin();
  return first.type() == 's' ? std::string(first.getText()) : std::string();
}
inline std::string textOf(const Bus::Message::SendReturn& reply) {
  return reply->isException() ? std::string("!") + reply->getErrorName() : textOf(*reply);
}
/// "!" and the standard error's name.
inline std::string error(const std::string& name) { return "!org.freedesktop.DBus.Error." + name; }

/// A served object. Keeps the calls, before the hook answers them; without a hook it gives back the text.
struct TestServer : Bus::Object::Server {
  using Hook = std::function<bool(TestServer&, const Call&)>;
  explicit TestServer(Shared::Pointer<Connection> connection, Hook act = echo, const char* path = PATH)
      : hook(std::move(act)) {
    setConnection(std::move(connection));
    setPath(path);
  }
  ~TestServer() override { retire(); }
  /// Started, with a name for its connection.
  static void serve(TestServer& server, const std::string& name) {
    server.start(true);
    server.getConnection()->requestName(name);
  }
  void answer(const Call& call, const std::string& text) {
    Return reply(call);
    reply.begin().append(text);
    send(reply);
  }
  static bool echo(TestServer& self, const Call& call) {
    self.answer(call, textOf(call));
    return true;
  }
  /// Sends the signal "Rang".
  void ring(const std::string& text) {
    Signal signal = signalOf("Rang", text, getPath().c_str());
    send(signal);
  }

  bool method(const Call& call) override {
    calls.add(call);
    return hook(*this, call);
  }

  Recorder<Call> calls;
  const Hook hook;
};

/// Keeps the signals, after its hook has seen them.
struct TestProxy : Bus::Object::Proxy {
  using Hook = std::function<void(TestProxy&, const Signal&)>;
  TestProxy(Shared::Pointer<Connection> connection, const std::string& host, Hook act = {}, const char* path = PATH)
      : hook(std::move(act)) {
    setConnection(std::move(connection));
    setHost(host.c_str());
    setPath(path);
  }
  ~TestProxy() override { retire(); }
  /// What textOf says of the reply.
  std::string ask(const char* member, const std::string& text = {}) const {
    Call call = callTo(member, text);
    return textOf(send(call));
  }
  /// The texts of the signals, once there are so many.
  std::vector<std::string> heard(std::size_t count) {
    signals.await(count);
    std::vector<std::string> texts;
    for (const Signal& signal : signals.all()) texts.push_back(textOf(signal));
    return texts;
  }

  void signal(const Signal& signal) override {
    if (hook) hook(*this, signal);
    signals.add(signal);
  }

  Recorder<Signal> signals;
  const Hook hook;
};

/// Keeps what it is told, as "connected :1.0", "lost: the bus closed the connection", "up com.example.Service :1.1" and
/// "down com.example.Service", before the hook sees it.
struct TestObserver : Bus::ConnectionObserver {
  using Hook = std::function<void(TestObserver&, const std::string&)>;
  TestObserver(Shared::Pointer<Connection> connection, std::vector<std::string> services, Hook act = {})
      : ConnectionObserver(std::move(connection), std::move(services)), hook(std::move(act)) {}
  ~TestObserver() override { retire(); }
  /// What came since the last time, once it is so much.
  std::vector<std::string> heard(std::size_t count) {
    changes.await(count);
    return changes.take();
  }

  void connected(const std::string& uniqueName) override { tell("connected " + uniqueName); }
  void lost(const std::string& reason) override { tell("lost: " + reason); }
  void serviceUp(const std::string& name, const std::string& owner) override { tell("up " + name + " " + owner); }
  void serviceDown(const std::string& name) override { tell("down " + name); }
  void tell(const std::string& change) {
    changes.add(change);
    if (hook) hook(*this, change);
  }

  Recorder<std::string> changes;
  const Hook hook;
};

}  // namespace Quarnix::Harness
