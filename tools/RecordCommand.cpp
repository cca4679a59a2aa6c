// hevractl record: writes the traffic of the stack service to a file, for hevra-stackd --replay.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include <bus/StackNodeWrapper.h>
#include <cli/Output.h>
#include <json/BodyForm.h>
#include <json/Malformed.h>
#include <json/Recording.h>
#include <platform/bus/ConnectionObserver.h>
#include <platform/bus/Trace.h>
#include <platform/bus/message/internal/TypeName.h>
#include <platform/core/log/internal/WriteWhole.h>
#include <platform/core/time/Clock.h>
#include <stack/Variant.h>
#include <tools/Commands.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

namespace {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Json::Malformed;
using Json::RecordedMessage;

constexpr const char* BUS = "org.freedesktop.DBus";

/// Opens the file and empties it. Raises Malformed when that fails. A file that is to hold keys must belong to this
/// user alone; otherwise it is left untouched.
int openFile(const std::string& file, bool holdsKeys) {
  ::umask(077);
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (holdsKeys ? O_NOFOLLOW : 0), 0600);
  if (descriptor < 0 && errno == ELOOP && holdsKeys)
    throw Malformed(file, "a symbolic link", "a file, since keys are recorded");
  struct stat found {};
  if (descriptor < 0 || ::fstat(descriptor, &found) != 0) throw Malformed(file + ": " + std::strerror(errno));
  const bool isFile = S_ISREG(found.st_mode);
  if (holdsKeys && (!isFile || found.st_uid != ::geteuid() || (found.st_mode & 077) != 0))
    throw Malformed(file, "a file that others may use",
                    "one of this user's alone (chmod 600), since keys are recorded");
  if (isFile && ::ftruncate(descriptor, 0) != 0) throw Malformed(file + ": " + std::strerror(errno));
  return descriptor;
}

/// Writes down the messages that arrive, without those of the bus itself. It runs on the loop's thread, as all of this
/// program does.
class Recorder : public Bus::Trace {
 public:
  Recorder(const std::string& file, bool showKeys, Cli::Loop& loop)
      : showKeys_(showKeys), output_(openFile(file, showKeys)), loop_(loop) {}
  ~Recorder() override { ::close(output_); }

  void message(Direction direction, const Bus::Message::Any& message) override {
    const char* const type = nameOf(message.getType());
    if (direction == Direction::OUT || !type || message.getSender() == std::string(BUS)) return;
    if (message.getDestination() == std::string(BUS)) {  // only the mark is shown to a monitor
      hasSeenEnd_ = true;
      loop_.wake();
      return;
    }
    RecordedMessage recorded;
    recorded.type = type;
    recorded.serial = message.getSerial();
    recorded.replySerial = message.getReplySerial();
    recorded.sender = message.getSender();
    recorded.destination = message.getDestination();
    recorded.path = message.getPath();
    recorded.interface = message.getInterface();
    recorded.member = message.getMember();
    recorded.error = message.getErrorName();
    recorded.signature = message.getSignature();
    recorded.body = Json::writeBody(showKeys_ ? message : Bus::Message::Any(withoutSecrets(message)));

    recorded.time = Time::Clock::get().now() - began_;
    if (failure_ != 0) return;
    if (Log::writeWhole(output_, writeMessage(recorded) + "\n").empty()) {
      ++count_;
    } else {
      failure_ = errno;
      loop_.wake();
    }
  }

  bool hasFailed() const noexcept { return failure_ != 0; }
  bool hasSeenEnd() const noexcept { return hasSeenEnd_; }
  /// Returns the number of written messages. Raises Malformed when one could not be written.
  std::size_t finish(const std::string& file) const {
    if (failure_ != 0) throw Malformed(file + ": " + std::strerror(failure_));
    return count_;
  }

 private:
  const bool showKeys_;
  const Time::Monotonic began_ = Time::Clock::get().now();
  const int output_;
  Cli::Loop& loop_;
  int failure_ = 0;  // why a message could not be written
  std::size_t count_ = 0;
  bool hasSeenEnd_ = false;
};

/// Has the connection read all the time. When the connection is lost, the recording is over, because a new connection
/// would not be a monitor.
class LossWatch : public Bus::ConnectionObserver {
 public:
  LossWatch(Shared::Pointer<Bus::Connection> connection, Cli::Loop& loop)
      : ConnectionObserver(std::move(connection), {}), loop_(loop) {}
  ~LossWatch() override { retire(); }

  /// The reason; empty while the connection is there.
  const std::string& getLoss() const noexcept { return loss_; }

 private:
  void lost(const std::string& reason) override {
    loss_ = reason;
    loop_.wake();
  }

  Cli::Loop& loop_;
  std::string loss_;
};

/// The mark is a call of the bus about a name that only this process asks for.
std::string markOf() { return "com.quarnix.Hevractl.Record.p" + std::to_string(::getpid()); }

/// Asks the bus for all messages from and to the service, and for the mark. Returns false when the bus refuses, and
/// asks only for the service's signals then.
bool listen(Bus::Connection& connection, const std::string& service) {
  try {
    connection.becomeMonitor(
        {"sender='" + service + "'", "destination='" + service + "'",
         "type='method_call',destination='" + std::string(BUS) + "',member='NameHasOwner',arg0='" + markOf() + "'"});
    return true;
  } catch (const Return& refusal) {
    Cli::Output::printError("the bus lets nobody listen (" + std::string(refusal.getErrorName()) + ": " +
                            refusal.getErrorText() +
                            "): only signals are kept, which cannot be replayed; try again as root");
    Call match;
    match.setDestination(BUS);
    match.setPath("/org/freedesktop/DBus");
    match.setInterface(BUS);
    match.setMember("AddMatch");
    match.begin().append("type='signal',sender='" + service + "'");
    if (const auto reply = connection.call(match); reply->isException()) throw Return(*reply);
    return false;
  }
}

/// Records what the bus has routed until now. The bus handles messages one after another, so a monitor is shown all of
/// them before the mark; and they reach another connection before the answer to its own call. A monitor must not call,
/// so another connection does.
void keepTheRest(const Context& context, const Shared::Pointer<Bus::Connection>& connection, bool isMonitor,
                 const Recorder& recorder) {
  try {
    Peer(context, isMonitor ? context.openBus() : connection).ask(BUS, "NameHasOwner", markOf());
    const Time::Monotonic deadline = Time::Clock::get().now() + Peer::TIMEOUT;
    if (isMonitor && !context.loop.runUntil([&] { return recorder.hasSeenEnd() || recorder.hasFailed(); }, deadline))
      context.loop.obeySignal();
    if (isMonitor && !recorder.hasSeenEnd()) Cli::Output::printError("the last messages may be missing");
  } catch (const Exception& error) {
    Cli::Output::printError(std::string("the last messages may be missing: ") + error.what());
  }
}

ExitStatus record(const Context& context, const std::string& file) {
  context.loop.takeSignals();
  context.loop.watchOutput();
  Bus::Type::StructWrapper<StackNode>::hideKeysInTraces();
  const auto recorder = Shared::make<Recorder>(file, context.showKeys, context.loop);
  Bus::Trace::set(recorder);
  const auto connection = context.openBus();
  connection->getUniqueName();  // raises an error when the bus cannot be reached
  LossWatch watch(connection, context.loop);
  watch.start();
  const bool isMonitor = listen(*connection, busNameOf(context.variant));
  context.print({{"event", "ready"}}, "Recording to " + file + "; interrupt to end.");
  if (!context.loop.runUntil([&] { return recorder->hasFailed() || !watch.getLoss().empty(); })) {
    context.loop.heedSignal();
    keepTheRest(context, connection, isMonitor, *recorder);
  }
  const std::size_t count = recorder->finish(file);
  context.print({{"event", "recorded"}, {"messages", count}},
                "Recorded " + std::to_string(count) + (count == 1 ? " message." : " messages."));
  if (!watch.getLoss().empty()) throw Return("org.freedesktop.DBus.Error.Disconnected", watch.getLoss());
  return ExitStatus::DONE;
}

}  // namespace

void addRecord(CLI::App& app, Context& context) {
  const auto file = std::make_shared<std::string>();
  CLI::App& command = addCommand(app, "record", "Keeps the service's traffic in a file until interrupted",
                                 "hevractl record evening.jsonl");
  command.add_option("FILE", *file, "Where to; what it has is replaced")->required()->type_name("");
  command.callback(
      [&context, file] { context.chosen = [file](const Context& chosen) { return record(chosen, *file); }; });
}

}  // namespace Quarnix::Hevra::Tools
