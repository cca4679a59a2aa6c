// Makes and destroys the node manager, and begins its calls.
#include <proxy/node/Manager.h>

#include <unistd.h>

#include <bus/StackNodeWrapper.h>
#include <platform/bus/message/internal/UncheckedCall.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

constexpr Time::Elapsed REPLY_TIMEOUT{20, 0};

}  // namespace

Manager::Manager(bool zuv) {
  Bus::Type::StructWrapper<StackNode>::hideKeysInTraces();
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
  interfaceName = zuv ? "com.quarnix.Application.Zuv.Manager.Node" : "com.quarnix.Application.Hevra.Manager.Node";
  setPath(zuv ? "/com/quarnix/Application/Zuv/Manager/Node" : "/com/quarnix/Application/Hevra/Manager/Node");
  setHost(zuv ? "com.quarnix.Application.Zuv" : "com.quarnix.Application.Hevra");
}

Manager::~Manager() { retire(); }

Bus::Message::Method::Call Manager::callOf(const char* member) const {
  Bus::Message::Method::Call call = Bus::Message::UncheckedCall::make(interfaceName, member);
  call.setTimeout(timeoutOr(REPLY_TIMEOUT));
  return call;
}

}  // namespace Quarnix::Hevra::Proxy::Node
