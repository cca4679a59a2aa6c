// The local stand-in for the stack service's command manager.
#pragma once

#include <atomic>
#include <climits>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <platform/bus/object/Proxy.h>
#include <platform/core/Event.h>
#include <platform/core/Mutex.h>
#include <platform/core/timer/Monotonic.h>
#include <platform/hevra/interface/command/Manager.h>
#include <proxy/command/Originator.h>
#include <proxy/command/Outcome.h>
#include <proxy/command/Watches.h>

namespace Quarnix::Hevra::Proxy::Command {

/// Sends groups of commands to the stack service and routes each command's progress back to the originator that asked
/// for it.
///
/// A command in flight is known by its key, the group's identifier, "_" and the command's identifier in decimal
/// ("g1_7"). It is forgotten when it reports a final status, or, with nothing but a log line, when no report has come
/// for 60 seconds; for a delayed command (status 6) that is its delay and 30 seconds, or 4 hours when it names none.
/// A command that is handed over again while it waits keeps its originator and begins waiting anew; once its time is
/// over, or while its final report is told, the hand-over begins another command under the same key.
/// Without `start` commands can be sent but no progress is heard: reports are answered with
/// "org.freedesktop.DBus.Error.UnknownObject", which is logged once if there is an originator or an observer to hear of
/// them.
///
/// Threads: every operation from any thread, also from the originators' `progress` and from `exception`. Nothing is
/// locked while the bus or the application's code runs. `progress` of the originators runs on the task of the served
/// object, `exception` on the proxy's.
/// Forking: once the manager has been used, its operations raise Bus::UnusableMessage in a forked child, where `stop`
/// does nothing and the manager may be destroyed.
/// Ownership: each command in flight holds one reference to its originator. The originator's object is served on the
/// manager's own connection. An originator must not own its manager: the last reference to it goes on the manager's own
/// task, where destroying the manager ends the process.
/// Destroying: see Bus::Object::Base. No other thread may still call it, nor may it be destroyed in one of its own
/// hooks.
class HEVRA_EXPORT Manager : public virtual Bus::Object::Proxy,
                             public virtual Interface::Command::Manager,
                             private Interface::Command::Originator,
                             private Event {
 public:
  /// `zuv`: the Zuv variant of the service, otherwise the plain one. `applicationName` becomes one element of the
  /// object path at which progress is received; it is kept as given, and one that makes no path lets `start` and `add`
  /// fail with an error that names the path.
  Manager(bool zuv, const std::string& applicationName);
  ~Manager() override;

 private:
  /// A report from the stack service, on the originator's task.
  void progress(const Hevra::Command& command, const Group& group,
                const HomeAutomation::Command::Status& status) override;

 public:
  /// Sends the commands. The container is walked twice: first its cursor, from where it stands, yields the commands
  /// whose waiting begins; then it is rewound, and the whole list is sent. The cursor stands at its end afterwards, and
  /// a list that is added again from there is sent with nothing waiting for its reports: call its `reset` before.
  /// Each command's waiting begins before the call leaves.
  ///
  /// Throws an error reply as a Bus::Message::Method::Return, what the container raises, and the bus's errors for what
  /// cannot be sent. The commands walked until then stay in flight, until their time is over.
  void add(const Shared::Pointer<Interface::Command::Originator>& originator, const Group& group,
           const HomeAutomation::Container<Hevra::Command>& commands) override;
  /// Ask the service to cancel: everything, what goes by a key (passed on unchanged), or what has a priority. The
  /// commands stay in flight until they report. An error reply is thrown as a Bus::Message::Method::Return.
  void cancel() override;
  void cancel(const std::string& key) override;
  void cancel(const HomeAutomation::Command::Priority& priority) override;

  /// Rewinds the container, sends the commands as `add` does, and tells the observer how each of them ended, once for
  /// each time that it was handed over: also where its key was in flight already. Of those that the container has not
  /// yielded before it raised an error, nothing is told. A command whose call got no answer in time may have reached
  /// the service; it stays in flight and ends as any other. This starts a thread that hears of the service's going, and
  /// from then on, until `stop`, the connection is kept up as for a started object. Raises Bus::StartFailed when there
  /// is no thread, and otherwise what `add` raises. Without an observer it is `add` of the rewound container.
  void submit(const Shared::Pointer<Interface::Command::Originator>& originator, const Group& group,
              const HomeAutomation::Container<Hevra::Command>& commands,
              const Shared::Pointer<OutcomeObserver>& observer);

  /// Takes progress from nobody but the owner of the service's bus name: reports of others are answered with
  /// "org.freedesktop.DBus.Error.AccessDenied" and logged at most once a second. Otherwise whoever the bus lets through
  /// may report. Before the first `start`.
  void acceptProgressOnlyFromService() { originator.setCaller(getHost()); }

  /// Starts the proxy and then the originator's server, see Bus::Object::Base::start. If the second fails, the first is
  /// stopped again.
  void start(bool wait) override;
  /// Stops the server and then the proxy, and hearing of the service's going, until the next `start` or `submit`.
  /// Commands in flight go on waiting: those that report nothing in time are forgotten, and their observers told, on a
  /// task that calls none of this object's virtual operations. So a class derived from this may be destroyed meanwhile.
  void stop() override;

 protected:
  /// An exception that the stack service announces, as a text. Nothing by default.
  virtual void exception(std::string message);
  void receive(unsigned long long count) override;
  void signal(const Bus::Message::Signal& signal) override;
  // Last, behind the operations whose order is kept.
  void attach(bool wait) override;
  void detach() override;

 public:
  // Both bases are tasks and can send; what an application sees is the proxy.
  using Bus::Object::Proxy::send;
  unsigned int getStackSize() const noexcept { return Bus::Object::Proxy::getStackSize(); }
  void setStackSize(unsigned int bytes) noexcept { Bus::Object::Proxy::setStackSize(bytes); }

 private:
  /// How far an entry of `timers` is. One whose time is over stays until the event's task takes it out, because a timer
  /// must not be destroyed in its own hook. It is nobody's command any more: a new hand-over of its key puts it into
  /// `replaced_` and begins another entry.
  ///
  ///                 add, submit: new
  ///                        |
  ///                        v     report
  ///   add, submit -----> WAITING ------> REPORTED   the originator is being told
  ///   of the same key      ^ |  <------     |       of one that is not final
  ///                          |    told      |
  ///             time is over |              | final report
  ///                          v              v
  ///                       EXPIRED ------> FINISHED  out of `timers`; gone when it is told
  ///                          |   final
  ///                          v   report
  ///                        gone, on the event's task
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
  };
  using Entry = std::map<std::string, Timer>::node_type;
  class HEVRA_INTERNAL Presence;
  enum class Hearing : std::uint8_t { NOTHING, NOTHING_AS_LOGGED, REPORTS };

  static std::string keyOf(const Group& group, const Hevra::Command& command);
  void requireSameProcess() const;
  bool isSameProcess() const noexcept;
  Bus::Message::Method::Call callOf(const char* member) const;
  void request(Bus::Message::Method::Call& call) const;

  Bus::Message::SendReturn transmit(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                    const HomeAutomation::Container<Hevra::Command>& commands,
                                    const std::shared_ptr<Submission>& submission);
  void arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key, Watches watches);
  void waitAnew(const std::string& key, const Hevra::Command& command);
  void timeout(Timer& timer);
  void queueExpired(const Timer& timer) noexcept;
  void takeAllExpired(std::multimap<std::string, Timer>& expired) HEVRA_REQUIRES(mutex_);
  Entry takeExpired(const std::string& key) HEVRA_REQUIRES(mutex_);

  // How commands end, for their observers.
  Presence* presence();
  void observePresence();
  void accept(Submission& submission, std::uint64_t generation);
  void giveUp(const Submission& submission, const Outcome& outcome);
  void serviceChanged();

  std::string interfaceName;  // constant after construction
  Command::Originator originator;
  std::map<std::string, Timer> timers HEVRA_GUARDED_BY(mutex_);
  std::list<std::string> expiredKeys HEVRA_GUARDED_BY(mutex_);

  /// Taken before the timer queue's mutex. Never held while calling out: not while sending, walking a container,
  /// calling an originator or logging, nor while an entry, and with it a reference to an originator, is made or
  /// destroyed.
  Mutex mutex_;
  std::multimap<std::string, Timer> replaced_ HEVRA_GUARDED_BY(mutex_);  // EXPIRED, with others under their keys
  bool isKeyMissing_ HEVRA_GUARDED_BY(mutex_) = false;                   // `expiredKeys` had no memory for one
  std::unique_ptr<Presence> presence_ HEVRA_GUARDED_BY(mutex_);          // made by the first `submit`, then constant
  std::once_flag connectionShared_;                                      // with the originator
  std::atomic<Hearing> hearing_{Hearing::NOTHING};
  static constexpr unsigned NEVER = UINT_MAX;
  mutable std::atomic<unsigned> usedIn_{NEVER};  // the process, by its forkCount
};

}  // namespace Quarnix::Hevra::Proxy::Command
