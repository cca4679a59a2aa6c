// A stack service for the tests of an application. It needs no bus daemon, no radio and no real time.
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

/// While it exists, time passes only in `advance`, the default connection leads to the bus inside this process, and a
/// stack service is started there. It depends on no test framework: its operations return what the application did, and
/// your test compares that.
///
/// A process can have one at a time; a second one raises std::logic_error. Make it before the application's managers
/// and destroy it after them. Threads: use it only on the thread that made it, which must not be a task's. It waits for
/// what the application does on the tasks of managers and timers, but not for the application's own threads: join
/// those, or use Time::SimulatedClock::awaitWaiters to learn that they wait.
class FakeStack {
 public:
  /// Raises what Service raises.
  explicit FakeStack(const Options& options = {});
  FakeStack(const FakeStack&) = delete;
  FakeStack& operator=(const FakeStack&) = delete;

  /// Replaces the service by another one with these options and nodes, and forgets what was submitted.
  void serve(const Options& options);

  /// Lets this much time pass, from one deadline to the next, and returns when the service and the application's
  /// managers have nothing left to do. Raises std::invalid_argument for a negative span.
  void advance(std::chrono::nanoseconds span);
  /// Returns when the service and the application's managers have nothing left to do; no time passes.
  void settle() { clock_.settle(); }
  Time::SimulatedClock& clock() noexcept { return clock_; }

  /// Sets what goes wrong from now on; with an empty plan nothing does. Raises what `check` raises.
  void plan(const Plan& plan) { service_->setPlan(plan); }
  /// Sets what happens by itself from now on, in place of the former timeline. Raises what `check` raises.
  void timeline(const Timeline& timeline) { service_->setTimeline(timeline); }
  /// Waits until all is idle. Then the service disappears with all commands in flight, and comes back after this time.
  void restart(std::chrono::nanoseconds away = {});
  /// Makes the service announce an exception on the interface of each variant.
  void exception(const std::string& text);
  /// Sets what a reset of the daughter board answers from now on; at first it answers true.
  void answerResets(bool answer) { service_->setResetAnswer(answer); }

  /// Returns the radio nodes and their links. Changes that you make are announced to the application.
  NodeTable& nodes() noexcept { return service_->getNodes(); }
  /// Returns the state of the node at the address; nothing when there is no such node.
  std::optional<std::uint32_t> stateOf(std::uint32_t address) const;

  /// Returns the commands that the application has submitted since the last call, including refused ones. Each is a
  /// text such as "evening_1 writes true to 0x1001" or "evening_2 reads 0x1001".
  std::vector<std::string> takeCommands();
  /// Returns the last submitted command with all its fields.
  std::optional<Command> lastCommand() const;
  /// Returns the number of commands in flight.
  std::size_t commandsInFlight() const { return service_->getCommandCount(); }
  /// Returns how often the daughter board was reset.
  std::size_t resets() const { return service_->getResetCount(); }

  /// Gives access to everything else.
  Service& service() noexcept { return *service_; }

 private:
  /// Sets the process up and restores it at the end.
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
