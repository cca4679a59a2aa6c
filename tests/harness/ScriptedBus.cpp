// The scripted bus's end of the socket.
#include <tests/harness/ScriptedBus.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include <platform/bus/message/Limits.h>

namespace Quarnix::Harness {

namespace {

/// The path of a socket's own name, or of its peer's.
std::string nameOf(int descriptor, int (*get)(int, sockaddr*, socklen_t*)) {
  sockaddr_un name{};
  socklen_t length = sizeof name;
  if (get(descriptor, reinterpret_cast<sockaddr*>(&name), &length) != 0 || length <= offsetof(sockaddr_un, sun_path))
    return {};
  return {name.sun_path, length - offsetof(sockaddr_un, sun_path)};
}

/// Nothing waits for ever.
void limit(int descriptor) {
  const timeval patience{FAILURE_DEADLINE.count(), 0};
  for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO})
    EXPECT_EQ(::setsockopt(descriptor, SOL_SOCKET, direction, &patience, sizeof patience), 0) << "nobody came";
}

}  // namespace

std::string bytesOf(Bus::Message::Base& message, const char* sender) {
  const Bus::Message::Frame frame = message.seal(1, {{}, CLIENT, sender});
  return {reinterpret_cast<const char*>(frame.data()), frame.size()};
}

std::string replyTo(const Call& call, const std::string& text, const char* sender) {
  const bool isError = text.starts_with('!');
  Return reply = isError ? Return(call, text.c_str() + 1, "text") : Return(call);
  if (!isError) reply.begin().append(text);
  return bytesOf(reply, sender);
}

std::string ringing(const std::string& text, const char* sender) {
  Signal signal = signalOf("Rang", text);
  return bytesOf(signal, sender);
}

std::string ownerChanged(const std::string& before, const std::string& now) {
  Signal signal("/org/freedesktop/DBus", BUS, "NameOwnerChanged");
  signal.begin().append(NAME, before, now);
  return bytesOf(signal, BUS);
}

ScriptedBus::ScriptedBus() : listening_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  // The kernel chooses an abstract name.
  EXPECT_EQ(::bind(listening_, reinterpret_cast<sockaddr*>(&name), sizeof(sa_family_t)), 0);
  EXPECT_EQ(::listen(listening_, 1), 0);
  limit(listening_);
  address_ = "unix:abstract=" + nameOf(listening_, ::getsockname).substr(1);
}

ScriptedBus::~ScriptedBus() {
  close();
  ::close(listening_);
}

Shared::Pointer<Connection> ScriptedBus::connect() {
  auto connection = Connection::open(address_);
  auto name = later([&] { return connection->getUniqueName(); });
  greet();
  EXPECT_EQ(name.get(), CLIENT);
  return connection;
}

void ScriptedBus::accept() {
  close();
  socket_ = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
  limit(socket_);
}

Call ScriptedBus::authenticate() {
  accept();
  EXPECT_TRUE(line().starts_with(std::string("\0AUTH EXTERNAL ", 15)));
  EXPECT_EQ(line(), "BEGIN\r\n");
  write("OK 0123\r\n");
  return expect("Hello");
}

void ScriptedBus::close() {
  if (socket_ >= 0) ::close(std::exchange(socket_, -1));
}

void ScriptedBus::narrow() const {
  const std::string own = nameOf(listening_, ::getsockname);
  const int least = 1;
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (nameOf(descriptor, ::getpeername) == own) ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
}

bool ScriptedBus::hasReadAll() const {
  char byte;
  return ::recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0;
}

std::string ScriptedBus::line() {
  std::string text;
  while (!text.ends_with("\r\n") && !testing::Test::HasFailure()) text += read(1, 1);
  return text;
}

Call ScriptedBus::expect(const char* member) {
  Call call = receive<Call>();
  EXPECT_STREQ(call.getMember(), member);
  return call;
}

void ScriptedBus::write(const std::string& bytes, std::size_t piece) {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t count = ::send(socket_, bytes.data() + at, std::min(piece, bytes.size() - at), MSG_NOSIGNAL);
    if (count < 0) return;  // a client that has had enough is what some scripts are about
    at += static_cast<std::size_t>(count);
  }
}

std::string ScriptedBus::read(std::size_t count, std::size_t piece) {
  std::string bytes(count, '\0');
  for (std::size_t at = 0; at < count;) {
    const ssize_t got = ::recv(socket_, bytes.data() + at, std::min(piece, count - at), 0);
    if (got <= 0) {
      ADD_FAILURE() << "the client sent only " << at << " of " << count << " bytes";
      break;
    }
    at += static_cast<std::size_t>(got);
  }
  return bytes;
}

Bus::Message::Frame ScriptedBus::frameOf(std::size_t piece, Bus::Message::Header& header) {
  std::string bytes = read(Bus::Message::FIXED_HEADER_SIZE, piece);
  const auto declared = Bus::Message::declaredSize(reinterpret_cast<const std::uint8_t*>(bytes.data()));
  if (!declared.rule) bytes += read(declared.size - bytes.size(), piece);
  Bus::Message::Storage storage(bytes.size());
  std::memcpy(storage.data(), bytes.data(), bytes.size());
  if (const char* rule = Bus::Message::check(storage.data(), bytes.size(), header))
    ADD_FAILURE() << "the client sent an invalid message: expected " << rule;
  return {std::move(storage), 0, static_cast<std::uint32_t>(bytes.size())};
}

}  // namespace Quarnix::Harness
