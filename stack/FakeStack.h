// A stack service for the tests of an application: without a bus, a radio or real time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/core/time/SimulatedClock.h>
#include <stack/Service.h>

namespace Quarnix::Hevra::Stack {

/// While it lives, time stands still but for `advance`, the default connection is one to the bus inside this process,
/// and a stack service is started there. It belongs to no test framework: what an application did is returned as a
/// value to be compared.
///
/// One a process at a time; a second raises std::logic_error. Make it before the application's managers, and let it
/// outlive them. Threads: all of it from the one that made it, which is no task's. What the application does on
/// managers' and timers' tasks is waited for, what it does on threads of its own is not: join them, or let
/// Time::SimulatedClock::awaitWaiters tell that they wait.
class FakeStack {
 public:
  /// Raises what Service raises.
  explicit FakeStack(const Options& options = {});
  FakeStack(const FakeStack&) = delete;
  FakeStack& operator=(const FakeStack&) = delete;

  /// Another service in place of the present one, with other options and nodes; what was submitted is forgotten.
  void serve(const Options& options);

  /// Lets that much time pass, from one due deadline to the next, and returns when the service and the application's
  /// managers have nothing left to do. Raises std::invalid_argument for a span below zero.
  void advance(std::chrono::nanoseconds span);
  /// The same without time passing.
  void settle() { clock_.settle(); }
  Time::SimulatedClock& clock() noexcept { return clock_; }

  /// What goes wrong from now on; an empty plan for nothing. Raises what `check` raises.
  void plan(const Plan& plan) { service_->setPlan(plan); }
  /// Once all is idle, the service goes, with all commands in flight, and comes back after that time.
  void restart(std::chrono::nanoseconds away = {});
  /// The service announces an exception, for each variant.
  void exception(const std::string& text);
  /// What a reset of the daughter board answers from now on; true at first.
  void answerResets(bool answer) { service_->setResetAnswer(answer); }

  /// The radio nodes and their links; a change is announced to the application.
  NodeTable& nodes() noexcept { return service_->getNodes(); }
  /// The state of the node at the address; none without such a node.
  std::optional<std::uint32_t> stateOf(std::uint32_t address) const;

  /// The commands that the application has submitted since the last time, each as "evening_1 writes true to 0x1001" or
  /// "evening_2 reads 0x1001", refused ones too.
  std::vector<std::string> takeCommands();
  /// The last command that it has submitted, whole.
  std::optional<Command> lastCommand() const;
  /// How many commands are under way.
  std::size_t commandsInFlight() const { return service_->getCommandCount(); }
  /// How many resets of the daughter board were carried out.
  std::size_t resets() const { return service_->getResetCount(); }

  /// For all else.
  Service& service() noexcept { return *service_; }

 private:
  /// The process as the fake needs it, and as it was before.
  struct Surroundings {
    Surroundings();
    ~Surroundings();
    Shared::Pointer<Bus::Connection> formerDefault;
  };
  void note(const Submission& submission);

  const Surroundings surroundings_;
  Time::SimulatedClock clock_;
  mutable Mutex mutex_;
  std::vector<std::string> commands_ HEVRA_GUARDED_BY(mutex_);
  std::optional<Command> last_ HEVRA_GUARDED_BY(mutex_);
  std::unique_ptr<Service> service_;
};

}  // namespace Quarnix::Hevra::Stack
