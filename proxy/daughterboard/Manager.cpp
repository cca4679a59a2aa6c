// Makes the daughter board manager and its one call.
#include <proxy/daughterboard/Manager.h>

#include <unistd.h>

#include <platform/bus/message/internal/UncheckedCall.h>

namespace Quarnix::Hevra::Proxy::DaughterBoard {

Manager::Manager() {
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
  // Both variants of the service share the tree in the path. Host and interface are those of the plain one.
  setPath("/com/quarnix/Application/HevraZuv/Manager/DaughterBoard");
  setHost("com.quarnix.Application.Hevra");
  interfaceName = "com.quarnix.Application.Hevra.Manager.DaughterBoard";
}

Manager::~Manager() = default;

Bus::Message::Method::Call Manager::resetCall() const {
  Bus::Message::Method::Call call = Bus::Message::UncheckedCall::make(interfaceName, "hardreset");
  call.setTimeout(timeoutOr(Bus::Message::Method::Call::DEFAULT_TIMEOUT));
  return call;
}

namespace {

bool readReset(const Bus::Message::SendReturn& reply) {
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
  bool done = false;
  reply->begin().get(done);
  return done;
}

}  // namespace

bool Manager::hardReset() {
  Bus::Message::Method::Call call = resetCall();
  return readReset(send(call));
}

Bus::PendingCall Manager::hardResetAsync(Bus::Handler<bool> handler, const Time::Elapsed& timeout) {
  return request<bool>([&] { return resetCall(); }, readReset, std::move(handler), timeout);
}

}  // namespace Quarnix::Hevra::Proxy::DaughterBoard
