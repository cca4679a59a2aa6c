// A bus that sends arbitrary bytes in pieces of any size, from the first byte on. The connection must read the same
// messages and end for the same reason, however the stream is split.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <fuzz/Finding.h>
#include <fuzz/Mutate.h>
#include <platform/bus/connection/SocketOpening.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Fuzz {
namespace {

using Bus::Internal::Address;
using Bus::Internal::Received;
using Bus::Internal::SocketOpening;

/// The other end of the connection. It is also the clock of the process: when the connection waits, it sends the next
/// piece.
class ScriptedBus : public Time::Clock {
 public:
  ScriptedBus() {
    listening_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    require(::bind(listening_, reinterpret_cast<sockaddr*>(&name), sizeof name.sun_family) == 0, "an address");
    socklen_t length = sizeof name;
    ::getsockname(listening_, reinterpret_cast<sockaddr*>(&name), &length);
    require(::listen(listening_, 1) == 0, "somebody listens");
    addresses_ = {Address{std::string(name.sun_path, length - offsetof(sockaddr_un, sun_path))}};
    install(this);
  }
  ~ScriptedBus() override { install(nullptr); }

  const std::vector<Address>& addresses() const { return addresses_; }

  /// Sets the stream of the next connection and the sizes of its pieces, which are used in turn. `filler`: how many of
  /// its last bytes are filler.
  void play(std::string_view stream, std::basic_string_view<std::uint8_t> pieces, std::size_t filler) {
    stream_ = stream;
    filler_ = filler;
    pieces_ = pieces;
    piece_ = 0;
  }
  void hangUp() {
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
  }
  /// Sends the next piece, or closes the stream after the last one. The pieces of the filler are larger.
  void send() {
    if (socket_ < 0) socket_ = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    if (stream_.empty()) {
      ::shutdown(socket_, SHUT_WR);
      return;
    }
    const std::size_t least = stream_.size() <= filler_ ? 4096 : 1;
    const std::size_t size = std::min<std::size_t>(pieces_[piece_++ % pieces_.size()] + least, stream_.size());
    require(::send(socket_, stream_.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(size), "sent");
    stream_.remove_prefix(size);
  }

  Time::Monotonic now() const override { return {}; }
  bool wait(ConditionVariable&, Mutex&, const Time::Monotonic&) override { fail("nobody waits"); }
  int poll(pollfd* descriptors, nfds_t count, const Time::Monotonic&) override {
    send();
    for (nfds_t i = 0; i < count; ++i) descriptors[i].revents = descriptors[i].events;
    return static_cast<int>(count);
  }

 private:
  int listening_ = -1, socket_ = -1;
  std::vector<Address> addresses_;
  std::string_view stream_;
  std::basic_string_view<std::uint8_t> pieces_;
  std::size_t piece_ = 0, filler_ = 0;
};

/// Admits messages of all sizes.
struct AdmitAll : Bus::Internal::Admission {
  std::size_t largest(const Bus::Message::Header&) override { return SIZE_MAX; }
  void countDropped() noexcept override {}
};

struct Outcome {
  bool connected = false;
  std::string messages;
  std::string end;
};

Outcome receive(ScriptedBus& bus, std::string_view stream, std::basic_string_view<std::uint8_t> pieces,
                std::size_t filler) {
  Outcome outcome;
  bus.play(stream, pieces, filler);
  AdmitAll admission;
  try {
    SocketOpening opening(bus.addresses(), Time::Monotonic::never(), admission, {});
    const auto transport = opening.complete(Time::Monotonic::never());
    outcome.connected = true;
    std::vector<Received> messages;
    do bus.send();
    while (transport->read(messages, outcome.end));
    for (const Received& message : messages)
      outcome.messages.append(reinterpret_cast<const char*>(message.frame.data()), message.frame.size());
  } catch (const Bus::Message::Method::Return& error) {
    outcome.end = error.what();
  }
  bus.hangUp();
  return outcome;
}

}  // namespace
}  // namespace Quarnix::Fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned) {
  return LLVMFuzzerMutate(data, size, Quarnix::Fuzz::limitRoom(size, room, 512));
}

/// The input has three parts: a byte, the sizes of the pieces minus one, and the stream. Bits 0 to 2 of the byte are
/// the number of sizes minus one. Bits 3 to 7 are the number of KiB of zeros at the end of the stream, which make large
/// messages from small inputs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Quarnix::Fuzz;
  static ScriptedBus bus;
  if (size == 0) return 0;
  const std::size_t pieces = data[0] % 8 + 1u;
  if (size <= 1 + pieces) return 0;
  std::string stream(reinterpret_cast<const char*>(data) + 1 + pieces, size - 1 - pieces);
  const std::size_t filler = data[0] / 8 * std::size_t{1024};
  stream.resize(stream.size() + filler);
  const Outcome split = receive(bus, stream, {data + 1, pieces}, filler);
  const std::uint8_t large = 255;
  const Outcome whole = receive(bus, stream, {&large, 1}, filler);
  const std::string ends = '\n' + split.end + '\n' + whole.end;
  // The result may differ if an invalid message arrives together with the answer to the greeting: the connection
  // reports the message first.
  if (!(split.connected && whole.connected) && ends.find("invalid message") != std::string::npos) return 0;
  if (split.end != whole.end) fail("split and whole end differently:", ends.c_str());
  require(split.messages == whole.messages, "the same messages split and whole");
  return 0;
}
