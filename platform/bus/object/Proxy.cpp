// Sends calls to a remote object and receives its signals.
#include <platform/bus/object/Proxy.h>

#include <platform/bus/connection/Client.h>
#include <platform/bus/message/internal/Names.h>

namespace Quarnix::Bus::Object {

Proxy::Proxy() = default;

Proxy::~Proxy() {
  retire();
  if (Internal::Host* host = watched_.load()) host->client->unwatch(host);
}

void Proxy::setHost(const char* host) { host_ = host; }

Internal::Host* Proxy::host() const {
  Internal::Host* host = watched_.load(std::memory_order_acquire);
  if (host) return host;
  Message::require(Message::checkMessagePath(getPath()), "object path of the proxy", getPath());
  Internal::Client& client = getConnection()->client();
  Internal::Host* watched = client.watch(host_);
  // If several threads make the first call at once, one watch stays and the others are released.
  if (watched_.compare_exchange_strong(host, watched)) return watched;
  client.unwatch(watched);
  return host;
}

Message::SendReturn Proxy::send(Message::Method::Call& call) const {
  Internal::Host* const to = host();
  return to->client->call(call, getPath(), to);
}

void Proxy::expectCalls() const { host()->client->expectCalls(); }

bool Proxy::isAvailable() const {
  Internal::Host* const service = host();
  return service->client->isOwned(*service);
}

bool Proxy::waitForService(const Time::Monotonic& deadline) const {
  Internal::Host* const service = host();
  return service->client->awaitOwner(*service, deadline);
}

std::uint64_t Proxy::getGeneration() const {
  const Internal::Host* const service = host();
  return service->client->generation(*service);
}

std::uint64_t Proxy::getGenerationOf(std::string_view owner) const {
  const Internal::Host* const service = host();
  return service->client->generation(*service, owner);
}

std::string Proxy::introspect() const {
  Message::Method::Call call;
  call.setInterface("org.freedesktop.DBus.Introspectable");
  call.setMember("Introspect");
  const Message::SendReturn reply = send(call);
  if (reply->isException()) throw Message::Method::Return(*reply);
  std::string text;
  reply->begin().get(text);
  return text;
}

void Proxy::start(bool wait) {
  host();
  begin(wait);
}

void Proxy::stop() { end(); }

void Proxy::attach(bool wait) {
  Internal::Host* const to = host();
  to->client->subscribe(*this, *to, getPath(), wait);
}

void Proxy::detach() { watched_.load()->client->unsubscribe(*this); }

void Proxy::retire() noexcept {
  Proxy::stop();
  Task::retire();
}

void Proxy::signal(const Message::Signal&) {}

void Proxy::deliver(Message::Frame frame, const Message::Header& header) {
  signal(Message::Signal(std::move(frame), header));
}

void Proxy::refuse(Message::Frame, const Message::Header&) {}

std::string Proxy::describeKeptOut(unsigned count) const {
  return "Bus object " + getPath() + " is too slow: " + std::to_string(count) + " signals were dropped";
}

}  // namespace Quarnix::Bus::Object
