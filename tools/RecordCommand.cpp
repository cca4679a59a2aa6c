// hevractl record: keeps the traffic of the stack service in a file, for hevra-stackd --replay.
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <poll.h>

#include <platform/core/time/Clock.h>
#include <stack/Variant.h>
#include <stack/forms/BodyForm.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/Recording.h>
#include <tools/Commands.h>
#include <tools/KeyMask.h>
#include <tools/Monitor.h>

namespace Quarnix::Hevra::Tools {

namespace {

using Stack::Forms::RecordedMessage;

RecordedMessage recordedOf(const Monitor::Message& received) {
  // Whatever the message is, the fields of all kinds can be read of a return.
  const Bus::Message::Method::Return message(received.frame, received.header);
  constexpr const char* TYPES[] = {"", "call", "return", "error", "signal"};
  RecordedMessage recorded;
  recorded.type = TYPES[received.header.type];
  recorded.serial = message.getSerial();
  recorded.replySerial = message.getReplySerial();
  recorded.sender = message.getSender();
  recorded.destination = message.getDestination();
  recorded.path = message.getPath();
  recorded.interface = message.getInterface();
  recorded.member = message.getMember();
  recorded.error = message.getErrorName();
  recorded.signature = message.getSignature();
  recorded.body = Stack::Forms::writeBody(message);
  return recorded;
}

/// Readable once the program is to end. The signals are blocked before any thread is made.
int endDescriptor() {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  return ::signalfd(-1, &ends, SFD_CLOEXEC);
}

ExitStatus record(const Context& context, const std::string& file) {
  const int end = endDescriptor();
  errno = 0;
  std::ofstream output(file, std::ios::binary);
  if (!output) throw Stack::Forms::Malformed(file + ": " + std::strerror(errno));

  Monitor monitor(context.bus, busNameOf(context.zuv ? Stack::Variant::ZUV : Stack::Variant::HEVRA));
  if (!monitor.refusal().empty()) {
    complain("the bus lets nobody listen (" + monitor.refusal() +
             "): only signals are kept, which cannot be replayed; try again as the bus's own user");
  }
  context.print({{"event", "ready"}}, "Recording to " + file + "; interrupt to end.");

  const Time::Monotonic began = Time::Clock::get().now();
  std::size_t count = 0;
  for (bool ended = false; !ended;) {
    pollfd descriptors[] = {{end, POLLIN, 0}, {monitor.descriptor(), POLLIN, 0}};
    if (::poll(descriptors, 2, -1) < 0 && errno != EINTR) throw Bus::StartFailed(std::strerror(errno));
    ended = descriptors[0].revents != 0;
    // What is there when the end comes is kept.
    for (const Monitor::Message& message : monitor.read()) {
      RecordedMessage recorded = recordedOf(message);
      recorded.time = Time::Clock::get().now() - began;
      if (!context.showKeys) maskKeys(recorded);
      output << writeMessage(recorded) << '\n';
      ++count;
    }
    output.flush();
    if (!output) throw Stack::Forms::Malformed(file + ": " + std::strerror(errno));
  }
  context.print({{"event", "recorded"}, {"messages", count}},
                "Recorded " + std::to_string(count) + (count == 1 ? " message." : " messages."));
  return ExitStatus::DONE;
}

}  // namespace

void addRecord(CLI::App& app, Context& context) {
  const auto file = std::make_shared<std::string>();
  CLI::App& command = addCommand(
      app, "record", "Keeps the traffic of the service in a file until interrupted, for hevra-stackd --replay",
      "hevractl record evening.jsonl");
  command.add_option("FILE", *file, "Where to; what it has is replaced")->required()->type_name("");
  command.callback(
      [&context, file] { context.chosen = [file](const Context& chosen) { return record(chosen, *file); }; });
}

}  // namespace Quarnix::Hevra::Tools
