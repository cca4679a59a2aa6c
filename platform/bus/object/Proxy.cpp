// Sends calls to a remote object and receives its signals.
#include <platform/bus/object/Proxy.h>

#include <platform/bus/connection/AsyncCall.h>
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

PendingCall Proxy::sendAsync(Message::Method::Call call, Handler<Message::SendReturn> handler) {
  return request<Message::SendReturn>([&] { return std::move(call); },
                                      [](const Message::SendReturn& reply) { return reply; }, std::move(handler), {});
}

std::future<Message::SendReturn> Proxy::sendAsync(Message::Method::Call call) {
  return futureOf<Message::SendReturn>([&](auto handler) { sendAsync(std::move(call), std::move(handler)); });
}

PendingCall Proxy::begin(const std::function<Message::Method::Call()>& encode, ReplyHandler handler,
                         const Time::Elapsed& timeout) {
  expectReplies();
  Internal::Caller& caller = *this;
  Internal::Host* to = nullptr;
  std::shared_ptr<Internal::AsyncCall> pending;
  try {
    Message::Method::Call call = encode();
    if (timeout > Time::Elapsed()) call.setTimeout(timeout);
    to = host();
    pending = std::make_shared<Internal::AsyncCall>(std::move(call), getPath(), to, caller, std::move(handler));
  } catch (...) {
    pending = std::make_shared<Internal::AsyncCall>(Message::Method::Call(), getPath(), to, caller, std::move(handler));
    pending->fail(std::current_exception());  // the result raises it
    return PendingCall(std::move(pending));
  }
  to->client->begin(pending);
  return PendingCall(std::move(pending));
}

void Proxy::setTimeout(const Time::Elapsed& timeout) {
  if (timeout < Time::Elapsed())
    throw InvalidArgument("Time-out of " + std::to_string(timeout.getNanoseconds()) + " ns: expected 0 or more");
  timeout_ = timeout.getNanoseconds();
}

Time::Elapsed Proxy::timeoutOr(const Time::Elapsed& usual) const noexcept {
  const std::int64_t set = timeout_;
  return set > 0 ? Time::Elapsed::ofNanoseconds(set) : usual;
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

void Proxy::stop() {
  if (const Internal::Host* const to = watched_.load()) to->client->abandon(*this);
  end();
}

void Proxy::attach(bool wait) {
  Internal::Host* const to = host();
  to->client->subscribe(*this, *to, getPath(), wait);
}

void Proxy::detach() {
  // There is no host if only calls were made that could not be sent.
  if (const Internal::Host* const to = watched_.load()) to->client->unsubscribe(*this);
}

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
