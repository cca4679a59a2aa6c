// A bus that no daemon would be: it cuts the stream anywhere, breaks the rules, or does not read. It is a script at the
// other end of a socket.
#include <functional>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <platform/bus/message/Codec.h>
#include <platform/core/time/SimulatedClock.h>
#include <tests/harness/BusObjects.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Test {
namespace {

using namespace Harness;

class ScriptedBus {
 public:
  using Script = std::function<void(ScriptedBus&)>;
  explicit ScriptedBus(Script script) {
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    socklen_t length = sizeof(sa_family_t);  // the kernel chooses an abstract name
    EXPECT_EQ(::bind(listening, reinterpret_cast<sockaddr*>(&name), length), 0);
    length = sizeof name;
    ::getsockname(listening, reinterpret_cast<sockaddr*>(&name), &length);
    EXPECT_EQ(::listen(listening, 1), 0);
    address_ = "unix:abstract=" + std::string(name.sun_path + 1, length - offsetof(sockaddr_un, sun_path) - 1);
    thread_ = std::thread([this, listening, script] {
      socket_ = ::accept(listening, nullptr, nullptr);
      ::close(listening);
      script(*this);
      ::close(socket_);
    });
  }
  ~ScriptedBus() { thread_.join(); }
  const std::string& address() const { return address_; }

  std::string line() {
    std::string text;
    while (!text.ends_with("\r\n")) text += read(1);
    return text;
  }
  /// The serial of the next message.
  std::uint32_t message() {
    const std::string head = read(Bus::Message::FIXED_HEADER_SIZE);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(head.data());
    read(Bus::Message::declaredSize(bytes).size - head.size());
    std::uint32_t serial = 0;
    std::memcpy(&serial, bytes + 8, 4);
    return serial;
  }
  static std::string replyTo(std::uint32_t serial, const std::string& text, const char* sender) {
    Call call = callTo("Any");
    call.seal(serial, {PATH, {}, {}});
    Return reply(call);
    reply.begin().append(text);
    const Bus::Message::Frame frame = reply.seal(1, {{}, ":1.7", sender});
    return {reinterpret_cast<const char*>(frame.data()), frame.size()};
  }
  void write(const std::string& bytes, std::size_t piece = 1) {
    for (std::size_t at = 0; at < bytes.size(); at += piece)
      if (::send(socket_, bytes.data() + at, std::min(piece, bytes.size() - at), MSG_NOSIGNAL) < 0) return;
  }
  void greet() {
    line();
    write("OK 0123\r\n");
    line();
    write(replyTo(message(), ":1.7", "org.freedesktop.DBus"));
  }

 private:
  std::string read(std::size_t count) {
    std::string bytes(count, '\0');
    if (::recv(socket_, bytes.data(), count, MSG_WAITALL) != static_cast<ssize_t>(count)) ADD_FAILURE() << "cut short";
    return bytes;
  }

  int socket_ = -1;
  std::string address_;
  std::thread thread_;
};

/// A call to ":1.9"; the reply.
Return ask(const Shared::Pointer<Connection>& connection, const std::string& text = {}) {
  Call call = callTo("Echo", text);
  call.setPath(PATH);
  call.setDestination(":1.9");
  return *connection->call(call);
}

TEST(SocketTransport, ReadsAStreamThatIsCutAnywhere) {
  const std::string large(70'000, 'x');
  for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{50'001}, std::size_t{1} << 20}) {
    ScriptedBus bus([&](ScriptedBus& self) {
      self.line();
      self.write("DATA\r\nOK 0123\r\n" + ScriptedBus::replyTo(1, ":1.7", "org.freedesktop.DBus") +
                     ScriptedBus::replyTo(77, "nobody asked", ":1.9"),
                 piece);
      EXPECT_EQ(self.line(), "ERROR\r\n");
      EXPECT_EQ(self.line(), "BEGIN\r\n");
      EXPECT_EQ(self.message(), 1u);
      const std::uint32_t serial = self.message();
      self.write(ScriptedBus::replyTo(serial, "forged", ":1.8") + ScriptedBus::replyTo(serial, large, ":1.9") +
                     ScriptedBus::replyTo(self.message(), "last", ":1.9"),
                 piece);
    });
    const auto connection = Connection::open(bus.address());
    EXPECT_EQ(connection->getUniqueName(), ":1.7");
    std::thread second([&] { ask(connection); });
    const std::string texts = textOf(ask(connection));
    second.join();
    EXPECT_TRUE(texts == large || texts == "last") << texts.size();
  }
}

TEST(SocketTransport, GivesUpABusThatBreaksTheRules) {
  const struct {
    ScriptedBus::Script script;
    const char* error;
    const char* text;
  } rows[] = {
      {[](ScriptedBus& self) {
         self.line();
         self.write("REJECTED KERBEROS\r\n");
       },
       "AuthFailed", "The bus refused the authentication of this user: REJECTED KERBEROS"},
      {[](ScriptedBus& self) { self.line(); }, "AuthFailed", "The bus closed the connection during authentication"},
      {[](ScriptedBus& self) {
         self.greet();
         self.message();
         self.write(std::string("l\2\1\2\0\0\0\0\1\0\0\0\0\0\0\0", 16));
       },
       "Disconnected", "the bus sent an invalid message: "},
      {[](ScriptedBus& self) {
         self.greet();
         self.message();
       },
       "Disconnected", "The connection to the message bus was lost: "},
  };
  for (const auto& row : rows) {
    ScriptedBus bus(row.script);
    const Return reply = ask(Connection::open(bus.address()));
    EXPECT_EQ(textOf(Bus::Message::SendReturn(reply)), error(row.error));
    EXPECT_NE(std::string(reply.getErrorText()).find(row.text), std::string::npos) << reply.getErrorText();
  }
}

// The deadline covers connecting and writing too, and what is left of a message must not be cut off.
TEST(SocketTransport, KeepsTheDeadlineWithABusThatDoesNotRead) {
  Time::SimulatedClock clock;
  Gate go;
  ScriptedBus bus([&go](ScriptedBus& self) {
    self.greet();
    EXPECT_TRUE(go.await());
    self.message();
    self.write(ScriptedBus::replyTo(self.message(), "after", ":1.9"));
  });
  const auto connection = Connection::open(bus.address());
  connection->getUniqueName();
  std::vector<std::thread> callers;
  for (int i = 0; i < 2; ++i) {
    callers.emplace_back([&] {
      EXPECT_EQ(textOf(Bus::Message::SendReturn(ask(connection, std::string(5 << 20, 'x')))), error("NoReply"));
    });
    clock.awaitWaiters(1 + static_cast<std::size_t>(i));
  }
  clock.advance(Call::DEFAULT_TIMEOUT);
  for (std::thread& caller : callers) caller.join();
  std::thread last([&] { EXPECT_EQ(textOf(ask(connection, "next")), "after"); });
  clock.awaitWaiters(1);
  go.open();
  last.join();
}

}  // namespace
}  // namespace Quarnix::Test
