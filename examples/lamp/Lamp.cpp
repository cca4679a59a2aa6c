// Sends one command for each attempt.
#include <examples/lamp/Lamp.h>

#include <utility>

#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>

using namespace Quarnix;
using Hevra::Proxy::Command::Outcome;

namespace {

/// Ignores progress: the lamp only needs the end of a command.
struct Uninterested : Hevra::Interface::Command::Originator {
  void progress(const Hevra::Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override {}
};

}  // namespace

class Lamp::Attempt : public Hevra::Proxy::Command::OutcomeObserver {
 public:
  Attempt(Lamp& lamp, bool isLast) : lamp_(lamp), isLast_(isLast) {}

  void ended(const Hevra::Group&, std::uint32_t, const Outcome& outcome) override {
    if (outcome.kind == Outcome::Kind::FINISHED) {
      const bool done = outcome.status == Hevra::HvDetailedCommandStatus::COMPLETED;
      lamp_.setState(done ? "on" : "the lamp refuses");
    } else if (outcome.kind == Outcome::Kind::TIMED_OUT && !isLast_) {
      lamp_.submit(true);
    } else {
      lamp_.setState(outcome.reason);
    }
  }

 private:
  Lamp& lamp_;
  const bool isLast_;
};

Lamp::Lamp(std::uint32_t address) : address_(address) { manager_.start(true); }

void Lamp::turnOn() {
  setState("switching");
  submit(false);
}

std::string Lamp::getState() const {
  MutexLock lock(mutex_);
  return state_;
}

void Lamp::setState(std::string state) {
  MutexLock lock(mutex_);
  state_ = std::move(state);
}

void Lamp::submit(bool isLast) {
  Hevra::Command on;
  {
    MutexLock lock(mutex_);
    on.setId(++lastId_);
  }
  on.setAddress(address_);
  on.setWrite(true);
  on.setValue(Shared::make<Hevra::HvBool>(true));
  // It needs no handler, because the attempt hears of a failure of the call, too.
  manager_.submitAsync(Shared::make<Uninterested>(), Hevra::Group("lamp"), Hevra::Proxy::CommandContainerList{on},
                       Shared::make<Attempt>(*this, isLast), nullptr);
}
