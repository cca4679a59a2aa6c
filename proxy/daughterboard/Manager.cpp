// Makes the daughter board manager and its one call.
#include <proxy/daughterboard/Manager.h>

#include <unistd.h>

namespace Quarnix::Hevra::Proxy::DaughterBoard {

Manager::Manager() {
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
  // Both variants of the service share the tree in the path. Host and interface are those of the plain one.
  setPath("/com/quarnix/Application/HevraZuv/Manager/DaughterBoard");
  setHost("com.quarnix.Application.Hevra");
  interfaceName = "com.quarnix.Application.Hevra.Manager.DaughterBoard";
}

Manager::~Manager() = default;

bool Manager::hardReset() {
  Bus::Message::Method::Call call;
  call.setInterface(interfaceName.c_str());
  call.setMember("hardreset");
  const Bus::Message::SendReturn reply = send(call);
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
  bool done = false;
  reply->begin().get(done);
  return done;
}

}  // namespace Quarnix::Hevra::Proxy::DaughterBoard
