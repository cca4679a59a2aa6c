// Stands for the stack service's command manager.
#pragma once

#include <atomic>
#include <climits>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <platform/bus/object/Proxy.h>
#include <platform/core/Event.h>
#include <platform/core/Mutex.h>
#include <platform/core/timer/Monotonic.h>
#include <platform/hevra/interface/command/Manager.h>
#include <proxy/command/Originator.h>
#include <proxy/command/Outcome.h>
#include <proxy/command/Watches.h>

namespace Quarnix::Hevra::Proxy::Command {

/// It sends groups of commands to the stack service, and hands each command's progress to the originator that you
/// named.
///
/// A command in flight has a key: the group's identifier, "_" and the command's identifier in decimal ("g1_7"). The
/// manager forgets the command when it reports a final status. It also forgets it, with only a log line, when no report
/// has come for 60 seconds. For a delayed command (status 6), this time is its delay and 30 seconds, or 4 hours if it
/// has no delay. If you hand a command over again while it waits, it keeps its originator and its time begins anew. If
/// its time is over, or its originator is hearing its final report, you begin another command with the same key.
///
/// Without `start` you can send commands, but you hear no progress: the service's reports are answered with
/// "org.freedesktop.DBus.Error.UnknownObject". If you gave an originator or an observer, this is logged once.
///
/// Threads: every operation from any thread, also from the originators' `progress` and from `exception`. Nothing is
/// locked while the bus or the application's code runs. The originators' `progress` runs on the task of the served
/// object, `exception` on the proxy's task.
/// Forking: when the manager has been used, its operations raise Bus::UnusableMessage in a forked child. There `stop`
/// does nothing, and you may destroy the manager. Ownership: each command in flight holds a reference to its
/// originator. The manager's own connection serves the object to which the service reports. An originator must not own
/// its manager: its last reference may go on the manager's own task, and destroying the manager there ends the process.
/// Destroying: see Bus::Object::Base. No other thread may still call the manager, and you must not destroy it in one of
/// its own hooks.
/// Operations: it has more than 25, because it is a proxy, an originator and an event at once, and the entry of a
/// command is changed under one mutex only.
class HEVRA_EXPORT Manager : public virtual Bus::Object::Proxy,
                             public virtual Interface::Command::Manager,
                             private Interface::Command::Originator,
                             private Event {
 public:
  /// `zuv`: true for the Zuv variant of the service, false for the plain one. `applicationName` becomes an element of
  /// the object path to which the service reports. It is not checked here: if it makes no path, `start` and `add` fail
  /// with an error that names the path.
  Manager(bool zuv, const std::string& applicationName);
  ~Manager() override;

 private:
  /// Takes a report from the stack service, on the originator's task.
  void progress(const Hevra::Command& command, const Group& group,
                const HomeAutomation::Command::Status& status) override;

 public:
  /// Sends the commands. It walks the container twice. The first walk goes from where the cursor stands; it begins the
  /// wait of each command. Then it rewinds the container and sends the whole list. Afterwards the cursor is at the end.
  /// So call `reset` before you add the list again, or it is sent and no command waits for its reports. Each command
  /// waits before the call leaves.
  ///
  /// Throws an error reply as a Bus::Message::Method::Return, what the container raises, and the bus's errors for what
  /// cannot be sent. The commands of the first walk until then stay in flight until their time is over.
  void add(const Shared::Pointer<Interface::Command::Originator>& originator, const Group& group,
           const HomeAutomation::Container<Hevra::Command>& commands) override;
  /// Ask the service to cancel all commands, those with a key (which is passed on as it is), or those with a priority.
  /// The commands stay in flight until they report. Throw an error reply as a Bus::Message::Method::Return.
  void cancel() override;
  void cancel(const std::string& key) override;
  void cancel(const HomeAutomation::Command::Priority& priority) override;

  /// Rewinds the container, sends the commands as `add` does, and tells the observer how each of them ends. It tells
  /// this once for each time that you hand over a command, even if its key was in flight already. If the container
  /// raises an error, the observer hears nothing of the commands behind it. If the call gets no answer in time, its
  /// commands may have reached the service; they stay in flight and end as any other.
  ///
  /// The first `submit` starts a thread that hears when the service goes. From then until `stop`, the connection is
  /// kept up as for a started object. Raises Bus::StartFailed if there is no thread, and what `add` raises. Without an
  /// observer, it rewinds the container and calls `add`.
  void submit(const Shared::Pointer<Interface::Command::Originator>& originator, const Group& group,
              const HomeAutomation::Container<Hevra::Command>& commands,
              const Shared::Pointer<OutcomeObserver>& observer);

  /// Begin the operations of the same names and return at once, after the first walk over the commands. With a handler,
  /// the handler runs once on the proxy's task, and the handle that is returned gives the call up; without one, you get
  /// a future. Both raise what the synchronous operation raises. A `timeout` above 0 counts for this call. If you give
  /// up a `submitAsync`, or stop the manager before its end, the observer may hear TIMED_OUT instead of SERVICE_LOST.
  /// See Bus::Object::Proxy::sendAsync.
  Bus::PendingCall addAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                            const HomeAutomation::Container<Hevra::Command>& commands, Bus::Handler<void> handler,
                            const Time::Elapsed& timeout = {});
  Bus::PendingCall submitAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                               const HomeAutomation::Container<Hevra::Command>& commands,
                               const Shared::Pointer<OutcomeObserver>& observer, Bus::Handler<void> handler,
                               const Time::Elapsed& timeout = {});
  Bus::PendingCall cancelAsync(Bus::Handler<void> handler, const Time::Elapsed& timeout = {});
  Bus::PendingCall cancelAsync(const std::string& key, Bus::Handler<void> handler, const Time::Elapsed& timeout = {});
  Bus::PendingCall cancelAsync(const HomeAutomation::Command::Priority& priority, Bus::Handler<void> handler,
                               const Time::Elapsed& timeout = {});

  std::future<void> addAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                             const HomeAutomation::Container<Hevra::Command>& commands,
                             const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>([&](auto handler) { addAsync(client, group, commands, std::move(handler), timeout); });
  }
  std::future<void> submitAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                const HomeAutomation::Container<Hevra::Command>& commands,
                                const Shared::Pointer<OutcomeObserver>& observer, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>(
        [&](auto handler) { submitAsync(client, group, commands, observer, std::move(handler), timeout); });
  }
  std::future<void> cancelAsync(const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>([&](auto handler) { cancelAsync(std::move(handler), timeout); });
  }
  std::future<void> cancelAsync(const std::string& key, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>([&](auto handler) { cancelAsync(key, std::move(handler), timeout); });
  }
  std::future<void> cancelAsync(const HomeAutomation::Command::Priority& priority, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>([&](auto handler) { cancelAsync(priority, std::move(handler), timeout); });
  }

  /// Takes reports only from the owner of the service's bus name. Others get the error
  /// "org.freedesktop.DBus.Error.AccessDenied", which is logged at most once a second. If you do not call this, anybody
  /// may report whom the bus lets through. Call it before the first `start`.
  void acceptProgressOnlyFromService() { originator.setCaller(getHost()); }

  /// Gives the dispatcher to the manager, to the object to which the service reports, and to the commands' timers.
  void setDispatcher(Dispatcher& dispatcher);

  /// Starts the proxy and then the object to which the service reports (see Bus::Object::Base::start). If the second
  /// fails, the first is stopped again.
  void start(bool wait) override;
  /// Stops that object and then the proxy. Until the next `start` or `submit`, the manager does not hear either when
  /// the service goes. Commands in flight wait on: the manager forgets those whose time is over and tells their
  /// observers, on a task that calls no virtual operation of this object. So a derived class may be destroyed
  /// meanwhile.
  void stop() override;

 protected:
  /// The hook for an exception that the stack service announces, as a text. Does nothing by default.
  virtual void exception(std::string message);
  void receive(unsigned long long count) override;
  void signal(const Bus::Message::Signal& signal) override;
  // These come last, because the order of those before is part of the interface.
  void attach(bool wait) override;
  void detach() override;

 public:
  // Both bases are tasks and can send. An application means the proxy.
  using Bus::Object::Proxy::send;
  unsigned int getStackSize() const noexcept { return Bus::Object::Proxy::getStackSize(); }
  void setStackSize(unsigned int bytes) noexcept { Bus::Object::Proxy::setStackSize(bytes); }

 private:
  /// How far an entry of `timers` is. An entry whose time is over stays until the event's task takes it out, because a
  /// timer must not be destroyed in its own hook. It stands for no command any more: a new hand-over of its key moves
  /// it to `replaced_` and begins another entry. A final report moves it there too, as FINISHED.
  ///
  ///                 add, submit: new
  ///                        |
  ///                        v     report
  ///   add, submit -----> WAITING ------> REPORTED   the originator hears a report
  ///   of the same key      ^ |  <------     |       that is not final
  ///                          |   has heard  |
  ///             time is over |              | final report
  ///                          v              v
  ///                       EXPIRED ------> FINISHED  out of `timers`; gone when it has been heard
  ///                          |   final       |
  ///                          v   report      v  if its time was over
  ///                            gone, on the event's task
  enum class Life : std::uint8_t { WAITING, REPORTED, EXPIRED, FINISHED };

  /// The wait of one command in flight.
  class HEVRA_INTERNAL Timer : public Quarnix::Timer::Monotonic {
   public:
    Timer(Manager* manager, Shared::Pointer<Interface::Command::Originator> originator, std::string key,
          unsigned int seconds);
    Timer(const Timer&) = default;
    ~Timer() override;

   protected:
    void expired(const Time::Monotonic& deadline) override;

   private:
    friend class Manager;

    Manager* manager;
    std::string key;
    Shared::Pointer<Interface::Command::Originator> originator;
    // Guarded by the manager's mutex.
    Watches watches;
    Life life = Life::WAITING;
    Timer* nextExpired = nullptr;
  };
  using Entry = std::map<std::string, Timer>::node_type;
  /// Entries whose time is over, in this order. They bring the links, so that an expiry needs no memory.
  struct ExpiredKeys {
    Timer* first = nullptr;
    Timer* last = nullptr;
  };
  class HEVRA_INTERNAL Presence;
  enum class Hearing : std::uint8_t { NOTHING, NOTHING_AS_LOGGED, REPORTS };

  HEVRA_INTERNAL static std::string keyOf(const Group& group, const Hevra::Command& command);
  HEVRA_INTERNAL void requireSameProcess() const;
  HEVRA_INTERNAL bool isSameProcess() const noexcept;
  using Call = Bus::Message::Method::Call;
  HEVRA_INTERNAL Call callOf(const char* member) const;
  HEVRA_INTERNAL Call cancelCall(const std::string& key) const;
  HEVRA_INTERNAL Call cancelCall(const HomeAutomation::Command::Priority& priority) const;
  HEVRA_INTERNAL Call addCall(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                              const HomeAutomation::Container<Hevra::Command>& commands,
                              const std::shared_ptr<Submission>& submission);
  HEVRA_INTERNAL Call submitCall(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                 const HomeAutomation::Container<Hevra::Command>& commands,
                                 const std::shared_ptr<Submission>& submission);
  HEVRA_INTERNAL static void requireSuccess(const Bus::Message::SendReturn& reply);
  HEVRA_INTERNAL void finish(Call call) const;
  HEVRA_INTERNAL Bus::PendingCall finishAsync(const std::function<Call()>& encode, Bus::Handler<void> handler,
                                              const Time::Elapsed& timeout);
  HEVRA_INTERNAL void arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key,
                          Watches watches);
  HEVRA_INTERNAL void waitAnew(const std::string& key, const Hevra::Command& command);
  HEVRA_INTERNAL void timeout(Timer& timer);
  HEVRA_INTERNAL Entry takeExpired() HEVRA_REQUIRES(mutex_);

  // These tell observers how commands end.
  HEVRA_INTERNAL Presence* presence();
  HEVRA_INTERNAL void observePresence();
  HEVRA_INTERNAL void conclude(Submission& submission, std::uint64_t before, const Bus::Reply& reply);
  HEVRA_INTERNAL void accept(Submission& submission, std::uint64_t generation);
  HEVRA_INTERNAL void giveUp(const Submission& submission, const Outcome& outcome);
  HEVRA_INTERNAL void serviceChanged();

  std::string interfaceName;  // constant after construction
  Command::Originator originator;
  std::map<std::string, Timer> timers HEVRA_GUARDED_BY(mutex_);
  ExpiredKeys expiredKeys HEVRA_GUARDED_BY(mutex_);

  /// It comes before the timer queue's mutex. It is never held while this sends, walks a container, calls an originator
  /// or logs, nor while an entry is made or destroyed, because an entry holds a reference to an originator.
  Mutex mutex_;
  std::multimap<std::string, Timer> replaced_ HEVRA_GUARDED_BY(mutex_);  // entries of `expiredKeys` that `timers` lacks
  std::unique_ptr<Presence> presence_ HEVRA_GUARDED_BY(mutex_);          // made by the first `submit`, then constant
  std::once_flag connectionShared_;                                      // sets the originator's connection
  std::atomic<Hearing> hearing_{Hearing::NOTHING};
  static constexpr unsigned NEVER = UINT_MAX;
  mutable std::atomic<unsigned> usedIn_{NEVER};  // the process, by its forkCount
};

}  // namespace Quarnix::Hevra::Proxy::Command
