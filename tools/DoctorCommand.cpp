// hevractl doctor: follows the way of a command step by step, and says where it fails and what to do. It changes
// nothing.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/core/time/Clock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/Variant.h>
#include <tools/BusFacts.h>
#include <tools/Checkup.h>
#include <tools/Commands.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

namespace {

using Bus::Message::SendReturn;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Failure = Checkup::Failure;

constexpr int PINGS = 50;

class Doctor {
 public:
  explicit Doctor(const Context& context) : context_(context), checkup_(context) {}

  ExitStatus examine();

 private:
  bool examineBus();
  std::string findService() const;
  std::string findAnswer() const;
  std::string findObject(const std::string& path, const std::string& interface) const;
  std::string callBack(Proxy::Command::Manager& manager) const;
  std::string measure() const;

  const Context& context_;
  Checkup checkup_;
  const std::string host_ = Stack::busNameOf(context_.variant);
  Shared::Pointer<Bus::Connection> connection_;
};

/// Examines connecting and authenticating. They are one operation, and only its errors distinguish them.
bool Doctor::examineBus() {
  std::optional<Return> refusal;
  std::string uniqueName;
  const bool reached = checkup_.run(
      "bus",
      [&] {
        std::string failure;
        try {
          connection_ = context_.openBus();
          uniqueName = connection_->getUniqueName();
          return describePlace(context_.bus);
        } catch (const Bus::StartFailed& error) {
          failure = error.what();
        } catch (const Return& error) {
          const std::string name = error.getErrorName();
          if (!name.ends_with(".NoServer") && !name.ends_with(".AccessDenied")) {
            refusal = error;
            return describePlace(context_.bus);
          }
          failure = error.getErrorText();
        }
        throw Failure{describePlace(context_.bus) + ": " + failure,
                      "start the bus (systemctl start dbus), let this user through to its socket, or say with --bus or "
                      "HEVRA_BUS where another one is"};
      },
      ExitStatus::BUS_ERROR);
  if (!reached) {
    checkup_.skip("authentication", "needs the bus");
    return false;
  }
  return checkup_.run(
      "authentication",
      [&] {
        if (!refusal) return "as " + nameOfUser(::geteuid()) + "; the bus calls us " + uniqueName;
        throw Failure{refusal->getErrorText(),
                      "it is no message bus, or one that does not want " + nameOfUser(::geteuid()) +
                          ": look who listens there (ss -xlp), and into the bus's configuration (<deny user=...>)"};
      },
      ExitStatus::BUS_ERROR);
}

/// Finds the owner of the service's name. A service that the bus can start is started, as any call would start it.
std::string Doctor::findService() const {
  const Peer bus(connection_);
  const SendReturn names = bus.ask("org.freedesktop.DBus", "ListActivatableNames");
  bool startable = false;
  for (auto name = names->begin().begin(); name.type() != 0; ++name) startable |= name.getText() == host_;

  std::string owner = connection_->getNameOwner(host_);
  const bool started = owner.empty() && startable;
  if (started) {
    try {
      bus.ask("org.freedesktop.DBus", "StartServiceByName", host_, std::uint32_t{0});
    } catch (const Return& error) {
      throw Failure{"nobody owns " + host_ + ", and the bus could not start it: " + error.getErrorName() + ": " +
                        error.getErrorText(),
                    "see why: systemctl status hevra-stackd, journalctl -u hevra-stackd"};
    }
    owner = connection_->getNameOwner(host_);
  }
  if (owner.empty()) {
    throw Failure{"nobody owns " + host_ + ", and the bus cannot start it",
                  "start the stack service (systemctl start hevra-stackd, or hevra-stackd), and see in its log whether "
                  "it got the name"};
  }
  return host_ + " is " + describeOwner(connection_, owner) +
         (started     ? "; the bus has just started it"
          : startable ? "; the bus can start it"
                      : "");
}

/// Finds out whether the bus lets us call the service and whether the service answers, even with an error.
std::string Doctor::findAnswer() const {
  try {
    Peer(connection_, host_, Stack::COMMAND_PATH).ping();
  } catch (const Return& error) {
    const std::string name = error.getErrorName();
    if (name.ends_with(".AccessDenied") || name.ends_with(".NoReply")) throw;
    return "answers calls with " + name;
  }
  return "answers calls";
}

std::string Doctor::findObject(const std::string& path, const std::string& interface) const {
  const Peer object(connection_, host_, path);
  object.ping();
  std::string text;
  try {
    text = object.introspect();
  } catch (const Return&) {
    return path + ", which does not say what it is";  // objects need not describe themselves
  }
  if (text.find('"' + interface + '"') == text.npos) {
    throw Failure{
        path + " has no interface " + interface,
        "another service has the name, or one that is not complete: see which (the step 'service'), and look into its "
        "log"};
  }
  return path;
}

/// Finds out whether the bus lets the service call the application. It submits a command that only reads and has a
/// delay of a minute, and cancels it at once, so that nothing reaches the radio.
std::string Doctor::callBack(Proxy::Command::Manager& manager) const {
  class Listener : public Interface::Command::Originator, public Proxy::Command::OutcomeObserver {
   public:
    void progress(const Command&, const Group&, const HomeAutomation::Command::Status&) override {
      MutexLock lock(mutex_);
      ++reports_;
    }
    void ended(const Group&, std::uint32_t, const Proxy::Command::Outcome&) override {
      MutexLock lock(mutex_);
      ended_ = true;
      change_.notifyAll();
    }
    /// Waits until the command ends, or for the deadline, and returns the number of reports so far.
    std::size_t await(const Time::Monotonic& deadline) {
      MutexLock lock(mutex_);
      while (!ended_ && Time::Clock::get().wait(change_, mutex_, deadline)) continue;
      return reports_;
    }

   private:
    Mutex mutex_;
    ConditionVariable change_;
    bool ended_ HEVRA_GUARDED_BY(mutex_) = false;
    std::size_t reports_ HEVRA_GUARDED_BY(mutex_) = 0;
  };

  Command command;
  command.setId(static_cast<std::uint32_t>(::getpid()));
  command.setDelay(60, 0);
  const Group group("hevractl-doctor");
  const auto listener = Shared::make<Listener>();
  manager.submit(listener, group, Proxy::CommandContainerList{command}, listener);
  manager.cancel(group.getId() + "_" + std::to_string(command.getId()));
  const std::size_t reports = listener->await(Time::Clock::get().now() + Peer::TIMEOUT);
  manager.stop();
  if (reports == 0) {
    throw Failure{
        "a command was taken, and no report of it came within " + std::to_string(Peer::TIMEOUT.getSeconds()) + " s",
        "the bus's policy probably forbids the service to call us: install "
        "/usr/share/dbus-1/system.d/com.quarnix.Application.HevraZuv.conf with the service's user in it; the "
        "bus's log tells: 'Rejected' (dbus-daemon) or 'denied' (dbus-broker)"};
  }
  return std::to_string(reports) + (reports == 1 ? " report" : " reports") + " of a cancelled command came";
}

std::string Doctor::measure() const {
  const Peer object(connection_, host_, Stack::COMMAND_PATH);
  std::vector<std::int64_t> times(PINGS);
  for (std::int64_t& time : times) {
    const Time::Monotonic begin = Time::Clock::get().now();
    object.ping();
    time = (Time::Clock::get().now() - begin).getNanoseconds();
  }
  std::sort(times.begin(), times.end());
  const auto milliseconds = [](std::int64_t nanoseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f ms", static_cast<double>(nanoseconds) / 1e6);
    return std::string(text);
  };
  return "median " + milliseconds(times[PINGS / 2]) + ", worst " + milliseconds(times.back()) + " of " +
         std::to_string(PINGS) + " calls";
}

ExitStatus Doctor::examine() {
  // A step is only run when the steps that it needs have succeeded.
  const auto step = [this](bool possible, const char* name, const char* needs, const std::function<std::string()>& look,
                           ExitStatus whenFailed = ExitStatus::NO) {
    if (possible) return checkup_.run(name, look, whenFailed);
    checkup_.skip(name, std::string("needs ") + needs);
    return false;
  };
  const bool bus = examineBus();
  const auto serviceStep = [&] { return findService(); };
  const auto answerStep = [&] { return findAnswer(); };
  const bool service = step(bus, "service", "the bus", serviceStep, ExitStatus::BUS_ERROR);
  const bool access = step(service, "access", "the service", answerStep, ExitStatus::BUS_ERROR);

  const auto object = [&](const char* name, const std::string& path, const std::string& interface) {
    return step(access, name, "access", [&] { return findObject(path, interface); });
  };
  const bool commands = object("command manager", Stack::COMMAND_PATH, Stack::commandInterfaceOf(context_.variant));
  object("node manager", Stack::nodePathOf(context_.variant), Stack::nodeInterfaceOf(context_.variant));
  if (context_.isZuv()) {
    checkup_.skip("daughter board", "belongs to the other variant: --service hevra");
  } else {
    object("daughter board", Stack::BOARD_PATH, Stack::boardInterface());
  }

  Proxy::Command::Manager manager(context_.isZuv(), context_.application);
  if (context_.strict) manager.acceptProgressOnlyFromService();
  const bool application = step(bus, "application", "the bus", [&] {
    manager.setConnection(connection_);
    manager.start(true);
    return Stack::originatorPathOf(context_.variant, context_.application);
  });
  step(commands && application, "progress", commands ? "the application" : "the command manager",
       [&] { return callBack(manager); });
  step(access, "round trip", "access", [&] { return measure(); });
  return checkup_.getExitStatus();
}

}  // namespace

void addDoctor(CLI::App& app, Context& context) {
  addCommand(app, "doctor", "Checks the road to the service and says what to do", "hevractl doctor")
      .callback([&context] { context.chosen = [](const Context& chosen) { return Doctor(chosen).examine(); }; });
}

}  // namespace Quarnix::Hevra::Tools
