// hevractl doctor: follows the way of a command step by step, and says where it fails and what to do. It changes
// nothing.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

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

std::string inMilliseconds(const Time::Elapsed& time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", static_cast<double>(time.getNanoseconds()) / 1e6);
  return text;
}

class Doctor {
 public:
  explicit Doctor(const Context& context) : context_(context), checkup_(context) {}

  ExitStatus examine();

 private:
  void tellSystem();
  bool examineBus();
  void tellVersions(const BusIdentity& bus);
  std::string findService() const;
  std::string findAnswer() const;
  std::string findObject(const std::string& path, const std::string& interface) const;
  std::string callBack(Proxy::Command::Manager& manager) const;
  std::string measure() const;
  void tellCounters() const;

  const Context& context_;
  Checkup checkup_;
  const std::string host_ = Stack::busNameOf(context_.variant);
  Shared::Pointer<Bus::Connection> connection_;
};

void Doctor::tellSystem() {
  const nlohmann::ordered_json system = describeSystem(context_);
  const auto text = [&](const char* key, const char* missing) {
    return system[key].is_null() ? std::string(missing) : system[key].get<std::string>();
  };
  checkup_.tell("system",
                "hevractl " + text("hevractl", "") + " on " + text("distribution", "an unknown system") + ", " +
                    text("kernel", "") + ", " + text("machine", "") +
                    (system["policy"].is_null() ? "; no policy is installed" : "; the policy is " + text("policy", "")),
                {{"system", system}});
}

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
          return describePlace(context_);
        } catch (const Bus::StartFailed& error) {
          failure = error.what();
        } catch (const Return& error) {
          const std::string name = error.getErrorName();
          if (!name.ends_with(".NoServer") && !name.ends_with(".AccessDenied")) {
            refusal = error;
            return describePlace(context_);
          }
          failure = error.getErrorText();
        }
        throw Failure{describePlace(context_) + ": " + failure,
                      context_.host.empty()
                          ? "start the bus (systemctl start dbus), let this user through to its socket, or say with "
                            "--bus or HEVRA_BUS where another one is"
                          : "try ssh " + context_.host +
                                " systemd-stdio-bridge, which must start and wait: it needs "
                                "ssh here, a way to log in, systemd and a bus there"};
      },
      ExitStatus::BUS_ERROR);
  if (!reached) {
    checkup_.skip("authentication", "needs the bus");
    return false;
  }
  return checkup_.run(
      "authentication",
      [&] {
        const std::string user = context_.host.empty() ? nameOfUser(::geteuid()) : "the user of ssh there";
        if (!refusal) return "as " + user + "; the bus calls us " + uniqueName;
        throw Failure{refusal->getErrorText(),
                      "it is no message bus, or one that does not want " + user +
                          ": look who listens there (ss -xlp), and into the bus's configuration (<deny user=...>)"};
      },
      ExitStatus::BUS_ERROR);
}

void Doctor::tellVersions(const BusIdentity& bus) {
  using Texts = std::vector<std::string>;
  const auto listOf = [](const std::optional<Texts>& words) {
    if (!words) return std::string("unknown");
    std::string text;
    for (const std::string& word : *words) text += (text.empty() ? "" : ", ") + word;
    return text.empty() ? "none" : text;
  };
  const auto valueOf = [](const auto& fact) { return fact ? nlohmann::ordered_json(*fact) : nullptr; };
  checkup_.tell(
      "versions",
      "library " HEVRA_VERSION "; bus " + bus.id.value_or("unknown") + ", its features: " + listOf(bus.features) +
          ", its interfaces: " + listOf(bus.interfaces),
      {{"library", HEVRA_VERSION},
       {"bus",
        {{"id", valueOf(bus.id)}, {"features", valueOf(bus.features)}, {"interfaces", valueOf(bus.interfaces)}}}});
}

/// Finds the owner of the service's name. A service that the bus can start is started, as any call would start it.
std::string Doctor::findService() const {
  Peer bus(context_, connection_);
  const SendReturn names = bus.ask("org.freedesktop.DBus", "ListActivatableNames");
  bool startable = false;
  for (auto name = names->begin().begin(); name.type() != 0; ++name) startable |= name.getText() == host_;

  std::string owner = bus.ownerOf(host_);
  const bool started = owner.empty() && startable;
  if (started) {
    try {
      bus.ask("org.freedesktop.DBus", "StartServiceByName", host_, std::uint32_t{0});
    } catch (const Return& error) {
      throw Failure{"nobody owns " + host_ + ", and the bus could not start it: " + error.getErrorName() + ": " +
                        error.getErrorText(),
                    "see why: systemctl status hevra-stackd, journalctl -u hevra-stackd"};
    }
    owner = bus.ownerOf(host_);
  }
  if (owner.empty()) {
    throw Failure{"nobody owns " + host_ + ", and the bus cannot start it",
                  "start the stack service (systemctl start hevra-stackd, or hevra-stackd), and see in its log whether "
                  "it got the name"};
  }
  return host_ + " is " + describeOwner(bus, owner, context_.host.empty()) +
         (started     ? "; the bus has just started it"
          : startable ? "; the bus can start it"
                      : "");
}

/// Finds out whether the bus lets us call the service and whether the service answers, even with an error.
std::string Doctor::findAnswer() const {
  try {
    Peer(context_, connection_, host_, Stack::COMMAND_PATH).ping();
  } catch (const Return& error) {
    const std::string name = error.getErrorName();
    if (name.ends_with(".AccessDenied") || name.ends_with(".NoReply")) throw;
    return "answers calls with " + name;
  }
  return "answers calls";
}

std::string Doctor::findObject(const std::string& path, const std::string& interface) const {
  Peer object(context_, connection_, host_, path);
  object.ping();
  std::string text;
  try {
    text = object.ask("org.freedesktop.DBus.Introspectable", "Introspect")->begin().getText();
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
    explicit Listener(Cli::Loop& loop) : loop_(loop) {}

    void progress(const Command&, const Group&, const HomeAutomation::Command::Status&) override { ++reports; }
    void ended(const Group&, std::uint32_t, const Proxy::Command::Outcome&) override {
      isOver = true;
      loop_.wake();
    }

    std::size_t reports = 0;
    bool isOver = false;

   private:
    Cli::Loop& loop_;
  };

  Command command;
  command.setId(static_cast<std::uint32_t>(::getpid()));
  command.setDelay(60, 0);
  const Group group("hevractl-doctor");
  const auto listener = Shared::make<Listener>(context_.loop);
  context_.await<void>([&](auto handler) {
    return manager.submitAsync(listener, group, Proxy::CommandContainerList{command}, listener, std::move(handler));
  });
  context_.await<void>([&](auto handler) {
    return manager.cancelAsync(group.getId() + "_" + std::to_string(command.getId()), std::move(handler));
  });
  const Time::Monotonic deadline = Time::Clock::get().now() + Peer::TIMEOUT;
  if (!context_.loop.runUntil([&] { return listener->isOver; }, deadline)) context_.loop.obeySignal();
  manager.stop();
  const std::size_t reports = listener->reports;
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
  Peer object(context_, connection_, host_, Stack::COMMAND_PATH);
  std::vector<Time::Elapsed> times(PINGS);
  for (Time::Elapsed& time : times) {
    const Time::Monotonic begin = Time::Clock::get().now();
    object.ping();
    time = Time::Clock::get().now() - begin;
  }
  std::sort(times.begin(), times.end());
  return "median " + inMilliseconds(times[PINGS / 2]) + ", worst " + inMilliseconds(times.back()) + " of " +
         std::to_string(PINGS) + " calls";
}

void Doctor::tellCounters() const {
  const Bus::Counters counters = connection_->getCounters();
  const nlohmann::ordered_json figures = {
      {"callsInFlight", counters.callsInFlight}, {"callsWaiting", counters.callsWaiting},
      {"callsAnswered", counters.callsAnswered}, {"callsFailed", counters.callsFailed},
      {"callsTimedOut", counters.callsTimedOut}, {"droppedTooLarge", counters.droppedTooLarge},
      {"droppedSlow", counters.droppedSlow},     {"droppedUnread", counters.droppedUnread},
      {"connects", counters.connects},           {"lastRoundTrip", counters.lastRoundTrip.getNanoseconds()},
      {"bytesSent", counters.bytesSent},         {"bytesReceived", counters.bytesReceived}};
  const auto number = [](const auto& count) { return std::to_string(count); };
  checkup_.tell("counters",
                "calls: " + number(counters.callsAnswered) + " answered, " + number(counters.callsFailed) +
                    " failed, " + number(counters.callsTimedOut) + " timed out, " + number(counters.callsInFlight) +
                    " in flight, " + number(counters.callsWaiting) + " waiting; dropped: " +
                    number(counters.droppedTooLarge) + " too large, " + number(counters.droppedSlow) + " slow, " +
                    number(counters.droppedUnread) + " unread; bus reached: " + number(counters.connects) +
                    "; last round trip: " + inMilliseconds(counters.lastRoundTrip) +
                    "; bytes: " + number(counters.bytesSent) + " sent, " + number(counters.bytesReceived) + " received",
                {{"counters", figures}});
}

ExitStatus Doctor::examine() {
  // A step is only run when the steps that it needs have succeeded.
  const auto step = [this](bool possible, const char* name, const char* needs, const std::function<std::string()>& look,
                           ExitStatus whenFailed = ExitStatus::NO) {
    if (possible) return checkup_.run(name, look, whenFailed);
    checkup_.skip(name, std::string("needs ") + needs);
    return false;
  };
  tellSystem();
  const bool bus = examineBus();
  BusIdentity identity;
  if (bus) {
    Peer driver(context_, connection_);
    identity = identify(driver);
  }
  tellVersions(identity);
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
  manager.setTimeout(context_.timeout);
  if (context_.strict) manager.acceptProgressOnlyFromService();
  const bool application = step(bus, "application", "the bus", [&] {
    manager.setConnection(connection_);
    manager.start(true);
    return Stack::originatorPathOf(context_.variant, context_.application);
  });
  step(commands && application, "progress", commands ? "the application" : "the command manager",
       [&] { return callBack(manager); });
  step(access, "round trip", "access", [&] { return measure(); });
  if (bus) {
    tellCounters();
  } else {
    checkup_.skip("counters", "needs the bus");
  }
  return checkup_.getExitStatus();
}

}  // namespace

void addDoctor(CLI::App& app, Context& context) {
  addCommand(app, "doctor", "Checks the road to the service and says what to do", "hevractl doctor")
      .callback([&context] {
        context.isDiagnosis = true;
        context.chosen = [](const Context& chosen) { return Doctor(chosen).examine(); };
      });
}

}  // namespace Quarnix::Hevra::Tools
