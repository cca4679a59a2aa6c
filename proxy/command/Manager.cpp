// The command manager's endpoints and life, and what its verbs share.
#include <proxy/command/Presence.h>

#include <charconv>

#include <unistd.h>

namespace Quarnix::Hevra::Proxy::Command {

Manager::Manager(bool zuv, const std::string& applicationName) : originator(this) {
  Bus::Object::Proxy::setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
  interfaceName = zuv ? "com.quarnix.Application.Zuv.Manager.Command" : "com.quarnix.Application.Hevra.Manager.Command";
  // Both variants serve it at the same path.
  setPath("/com/quarnix/Application/HevraZuv/Manager/Command");
  setHost(zuv ? "com.quarnix.Application.Zuv" : "com.quarnix.Application.Hevra");
  originator.setPath("/com/quarnix/Application/" + applicationName + (zuv ? "/Zuv/Originator" : "/Hevra/Originator"));
}

Manager::~Manager() {
  // What reaches into the timers goes first: signals and reports, which restart them. Then the timers, whose expiry
  // sends the event, and whose destruction waits for an expiry that needs the mutex. The event is last.
  Bus::Object::Proxy::retire();
  originator.retire();
  presence_.reset();
  std::map<std::string, Timer> forgotten;
  {
    MutexLock lock(mutex_);
    expiredKeys.clear();
    forgotten.swap(timers);
  }
  Watches abandoned;
  for (auto& [key, timer] : forgotten) abandoned.splice_after(abandoned.before_begin(), timer.watches);
  forgotten.clear();
  Event::retire();
  tell(abandoned, {Outcome::Kind::ABANDONED, {}, "the command manager was destroyed"});
}

void Manager::start(bool wait) {
  // Once, because reports may be under way on it when a started manager is started again.
  std::call_once(connectionShared_, [this] { originator.setConnection(getConnection()); });
  Bus::Object::Proxy::start(wait);
}

void Manager::stop() { Bus::Object::Proxy::stop(); }

void Manager::attach(bool wait) {
  Bus::Object::Proxy::attach(wait);
  try {
    originator.start(wait);
  } catch (...) {
    Bus::Object::Proxy::detach();
    throw;
  }
}

void Manager::detach() {
  originator.stop();
  Bus::Object::Proxy::detach();
}

std::string Manager::keyOf(const Group& group, const Hevra::Command& command) {
  char digits[10];
  const auto end = std::to_chars(digits, digits + sizeof digits, command.getId()).ptr;
  std::string key;
  key.reserve(group.getId().size() + 1 + sizeof digits);
  key += group.getId();
  key += '_';
  return key.append(digits, end);
}

Bus::Message::Method::Call Manager::callOf(const char* member) const {
  Bus::Message::Method::Call call;
  call.setInterface(interfaceName.c_str());
  call.setMember(member);
  return call;
}

void Manager::request(Bus::Message::Method::Call& call) const {
  const Bus::Message::SendReturn reply = send(call);
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
}

Manager::Timer::Timer(Manager* owner, Shared::Pointer<Interface::Command::Originator> client, std::string entryKey,
                      unsigned int seconds)
    : Quarnix::Timer::Monotonic(Time::Monotonic(Time::Elapsed(seconds, 0)), true),
      manager(owner),
      key(std::move(entryKey)),
      originator(std::move(client)) {
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
}

Manager::Timer::~Timer() { retire(); }

}  // namespace Quarnix::Hevra::Proxy::Command
