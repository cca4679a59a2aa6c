// Three calls to the bus, and then only reading.
#include <tools/Monitor.h>

#include <poll.h>

#include <optional>
#include <utility>

#include <platform/bus/connection/Driver.h>
#include <platform/core/time/Clock.h>
#include <stack/forms/BusOption.h>

namespace Quarnix::Hevra::Tools {

using Bus::Internal::driverCall;
using Bus::Internal::SocketTransport;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

namespace {

Time::Monotonic deadline() { return Time::Clock::get().now() + Call::DEFAULT_TIMEOUT; }

std::vector<Bus::Internal::Address> addressesOf(const std::string& place) {
  if (place == "system") return Bus::Internal::systemBusAddresses();
  if (place == "session") return Bus::Internal::sessionBusAddresses();
  return Bus::Internal::parseAddresses(place);
}

}  // namespace

Monitor::Monitor(const std::string& where, const std::string& service) {
  Stack::Forms::openBus(where);  // raises what is wrong with it; connects to nothing
  transport_ = SocketTransport::connect(addressesOf(Stack::Forms::placeOf(where)), deadline());

  Call become = driverCall("BecomeMonitor");
  become.setInterface("org.freedesktop.DBus.Monitoring");
  Bus::Message::Iterator arguments = become.begin();
  Bus::Message::Iterator rules = arguments.begin(Bus::Message::ARRAY, "s");
  for (const char* side : {"sender", "destination"}) rules.append(std::string(side) + "='" + service + "'");
  arguments.end(rules);
  arguments.append(std::uint32_t{0});
  if (const Return answer = ask(std::move(become)); answer.isException()) {
    refusal_ = answer.getErrorName() + std::string(": ") + answer.getErrorText();
    if (const Return reply = ask(driverCall("AddMatch", "type='signal',sender='" + service + "'")); reply.isException())
      throw reply;
  }
}

std::vector<Monitor::Message> Monitor::read() {
  std::vector<Message> messages = std::move(early_);
  early_.clear();
  std::string reason;
  for (std::size_t before = messages.size();; before = messages.size()) {
    if (!transport_->read(messages, reason)) throw Return("org.freedesktop.DBus.Error.Disconnected", reason);
    if (messages.size() == before && !transport_->isMoreThere()) break;
  }
  std::erase_if(messages, [](const Message& message) {
    return message.header.type > static_cast<std::uint8_t>(Bus::Message::Type::SIGNAL) ||
           Call(message.frame, message.header).getSender() == std::string(Bus::Internal::DRIVER_NAME);
  });
  return messages;
}

Return Monitor::ask(Call call) {
  const Bus::Message::Frame frame = call.seal(++serial_, {});
  std::size_t written = 0;
  const auto await = [this](short events) {
    pollfd descriptors[2] = {{descriptor(), events, 0}, {}};
    if (Time::Clock::get().poll(descriptors, 1, deadline()) == 0)
      throw Return("org.freedesktop.DBus.Error.NoReply", "The bus does not answer");
  };
  while (written < frame.size()) {
    const std::ptrdiff_t count = transport_->write(&frame, 1, written);
    if (count < 0) throw Return("org.freedesktop.DBus.Error.Disconnected", "The bus closed the connection");
    if (count == 0) await(POLLOUT);
    written += static_cast<std::size_t>(count);
  }
  for (;;) {
    std::vector<Message> messages;
    std::string reason;
    if (!transport_->read(messages, reason)) throw Return("org.freedesktop.DBus.Error.Disconnected", reason);
    std::optional<Return> answer;
    for (Message& message : messages) {
      if (message.header.replySerial == serial_ && !answer) {
        answer.emplace(std::move(message.frame), message.header);
      } else {
        early_.push_back(std::move(message));
      }
    }
    if (answer) return *answer;
    if (messages.empty()) await(POLLIN);
  }
}

}  // namespace Quarnix::Hevra::Tools
