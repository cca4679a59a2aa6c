// The local stand-in for the stack service's command manager.
#pragma once

#include <cstdint>
#include <forward_list>
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

namespace Quarnix::Hevra::Proxy::Command {

/// Sends groups of commands to the stack service and routes each command's progress back to the originator that asked
/// for it.
///
/// A command in flight is known by its key, the group's identifier, "_" and the command's identifier in decimal
/// ("g1_7"). It is forgotten when it reports a final status, or, with nothing but a log line, when no report has come
/// for 60 seconds; for a delayed command (status 6) that is its delay and 30 seconds, or 4 hours when it names none.
/// Without `start` commands can be sent but no progress is heard.
///
/// Threads: every operation from any thread, also from the originators' `progress` and from `exception`. Nothing is
/// locked while the bus or the application's code runs. `progress` of the originators runs on the task of the served
/// object, `exception` on the proxy's.
/// Ownership: each command in flight holds one reference to its originator. The originator's object is served on the
/// manager's own connection.
/// Destroying: no other thread may still call it, nor may it be destroyed in one of its own hooks. It needs no `stop`;
/// a class derived from it that overrides `exception` calls `stop` before its own part goes.
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
  /// Sends the commands that the container's cursor yields and rewinds it in between, because they are walked twice: it
  /// stands at its end afterwards. Each command's waiting begins before the call leaves. A key that is in flight
  /// already keeps its first originator and begins waiting anew.
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

  /// Sends them as `add` does, and tells the observer how each of the commands ended, once for each time that it was
  /// handed over: also where its key was in flight already. Of those that the container has not yielded before it
  /// raised an error, nothing is told. A command whose call got no answer in time may have reached the service; it
  /// stays in flight and ends as any other. The first time, this starts a thread that hears of the service's going, and
  /// from then on the connection is kept up as for a started object; raises Bus::StartFailed when there is none, and
  /// otherwise what `add` raises. Without an observer it is `add`.
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
  /// Stops the server and then the proxy. Commands in flight go on waiting.
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
  /// What the commands of one `submit` have in common.
  struct HEVRA_INTERNAL Submission {
    const Shared::Pointer<OutcomeObserver> observer;
    const Group group;
    std::uint64_t tenure = 0;  // of the service that has taken them; 0 until then. Guarded by the manager's mutex.
  };
  /// One command whose end is still to be told.
  struct HEVRA_INTERNAL Watch {
    std::shared_ptr<Submission> submission;
    std::uint32_t commandId;
  };
  using Watches = std::forward_list<Watch>;

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
    Watches watches;
  };
  class HEVRA_INTERNAL Presence;

  static std::string keyOf(const Group& group, const Hevra::Command& command);
  Bus::Message::Method::Call callOf(const char* member) const;
  void request(Bus::Message::Method::Call& call) const;

  Bus::Message::SendReturn transmit(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                    const HomeAutomation::Container<Hevra::Command>& commands,
                                    const std::shared_ptr<Submission>& submission);
  void arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key, Watches watches);
  void settle(const std::string& key, std::uint64_t identity, const Hevra::Command& command);
  void timeout(std::string key);
  void queueExpired(std::string key);

  // Outcomes, see ManagerOutcome.cpp.
  template <class Chosen>
  Watches take(Chosen chosen);
  static void tell(const Watches& watches, const Outcome& outcome) noexcept;
  void accept(Submission& submission, std::uint64_t tenure);
  void giveUp(const Submission& submission, Outcome::Kind kind, const std::string& reason);
  void serviceChanged();

  std::string interfaceName;  // constant after construction
  Command::Originator originator;
  std::map<std::string, Timer> timers HEVRA_GUARDED_BY(mutex_);
  std::list<std::string> expiredKeys HEVRA_GUARDED_BY(mutex_);

  /// Taken before the timer queue's mutex. Never held while calling out: not while sending, walking a container,
  /// calling an originator or logging, nor while an entry, and with it a reference to an originator, is made or
  /// destroyed.
  Mutex mutex_;
  std::once_flag connectionShared_;  // with the originator
  std::once_flag presenceObserved_;
  std::unique_ptr<Presence> presence_;  // made by the first `submit`
};

}  // namespace Quarnix::Hevra::Proxy::Command
