// Connects to a bus daemon, and sends and receives over its socket.
#include <platform/bus/connection/SocketTransport.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <optional>

#include <platform/bus/connection/Authentication.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

Transport::~Transport() = default;

namespace {

std::string describe(const Address& address) {
  if (address.path[0] == '\0') return "unix:abstract=" + address.path.substr(1);
  return "unix:path=" + address.path;
}

const char* errorNameOf(int error) noexcept {
  switch (error) {
    case EACCES:
    case EPERM:
      return "org.freedesktop.DBus.Error.AccessDenied";
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENOBUFS:
      return "org.freedesktop.DBus.Error.LimitsExceeded";
    default:
      return "org.freedesktop.DBus.Error.NoServer";
  }
}

int openSocket(const Address& address, const Time::Monotonic& deadline) {
  const int descriptor = aboveStandard(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (descriptor < 0) return -1;
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, address.path.data(), address.path.size());
  const auto length =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.path.size() + (address.path[0] == '\0' ? 0 : 1));
  while (::connect(descriptor, reinterpret_cast<const sockaddr*>(&name), length) != 0) {
    // EAGAIN: the bus's queue of connections is full. All you can do is try again later.
    if (errno == EINTR) continue;
    const int error = errno;
    if (error == EAGAIN && Time::Clock::get().now() < deadline) {
      pollfd none[1];
      Time::Clock::get().poll(none, 0, std::min(deadline, Time::Clock::get().now() + Time::Elapsed(0, 10'000'000)));
      continue;
    }
    ::close(descriptor);
    errno = error;
    return -1;
  }
  return descriptor;
}

/// Closes the descriptor if there is no memory.
std::shared_ptr<SocketTransport> make(int descriptor, Admission& admission) {
  try {
    return std::make_shared<SocketTransport>(descriptor, admission);
  } catch (const std::bad_alloc&) {
    ::close(descriptor);
    throw;
  }
}

}  // namespace

std::shared_ptr<SocketTransport> SocketTransport::connect(const std::vector<Address>& addresses,
                                                          const Time::Monotonic& deadline, Admission& admission) {
  std::optional<Return> failure;
  for (const Address& address : addresses) {
    const int descriptor = openSocket(address, deadline);
    if (descriptor < 0) {
      const int error = errno;
      if (!failure)
        failure.emplace(errorNameOf(error),
                        "Cannot connect to the message bus at " + describe(address) + ": " + std::strerror(error));
      continue;
    }
    try {
      auto transport = make(descriptor, admission);
      const std::size_t early = transport->authenticate(address.guid, deadline);
      transport->greet(early, deadline);
      return transport;
    } catch (const Return& error) {
      if (!failure)
        failure.emplace(error.getErrorName(),
                        "Cannot connect to the message bus at " + describe(address) + ": " + error.getErrorText());
    }
  }
  throw *failure;
}

SocketTransport::SocketTransport(int descriptor, Admission& admission) : descriptor_(descriptor), reader_(admission) {}

SocketTransport::~SocketTransport() { ::close(descriptor_); }

void SocketTransport::shutdown() noexcept { ::shutdown(descriptor_, SHUT_RDWR); }

void SocketTransport::awaitReady(short events, const Time::Monotonic& deadline) {
  for (;;) {
    pollfd descriptors[2] = {{descriptor_, events, 0}, {}};
    const int ready = Time::Clock::get().poll(descriptors, 1, deadline);
    if (ready > 0) return;
    if (ready == 0) throw Return("org.freedesktop.DBus.Error.Timeout", "The bus did not finish the greeting in time");
    if (errno != EINTR) throw Return("org.freedesktop.DBus.Error.IOError", std::strerror(errno));
  }
}

void SocketTransport::writeAll(const char* bytes, std::size_t count, const Time::Monotonic& deadline) {
  while (count > 0) {
    const ssize_t written = ::send(descriptor_, bytes, count, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written >= 0) {
      bytes += written;
      count -= static_cast<std::size_t>(written);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      awaitReady(POLLOUT, deadline);
    } else if (errno != EINTR) {
      throw Return("org.freedesktop.DBus.Error.Disconnected", std::strerror(errno));
    }
  }
}

/// Returns how many bytes of messages came with the end of the dialogue; they are in the reader's room.
std::size_t SocketTransport::authenticate(const std::string& guid, const Time::Monotonic& deadline) {
  Authentication authentication(static_cast<std::uint32_t>(::geteuid()), guid);
  std::size_t early = 0;
  for (;;) {
    const std::string output = authentication.takeOutput();
    writeAll(output.data(), output.size(), deadline);
    if (authentication.state() == Authentication::State::DONE) return early;
    if (authentication.state() == Authentication::State::REFUSED)
      throw Return("org.freedesktop.DBus.Error.AuthFailed", authentication.reason());

    awaitReady(POLLIN, deadline);
    char piece[Authentication::MAXIMUM_LINE];
    const ssize_t count = ::recv(descriptor_, piece, sizeof piece, MSG_DONTWAIT);
    if (count == 0)
      throw Return("org.freedesktop.DBus.Error.AuthFailed", "The bus closed the connection during authentication");
    if (count < 0) {
      if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK) continue;
      throw Return("org.freedesktop.DBus.Error.Disconnected", std::strerror(errno));
    }
    const auto size = static_cast<std::size_t>(count);
    const std::size_t used = authentication.feed(piece, size);
    // What comes behind the last line of the dialogue belongs to messages.
    std::memcpy(reader_.room().at, piece + used, size - used);
    early = size - used;
  }
}

void SocketTransport::greet(std::size_t early, const Time::Monotonic& deadline) {
  Message::Method::Call hello = driverCall("Hello");
  const Message::Frame frame = hello.seal(1, {});
  writeAll(reinterpret_cast<const char*>(frame.data()), frame.size(), deadline);

  // The bus answers Hello before it sends anything else, so one message at a time is enough until then.
  std::vector<Received> messages;
  std::string reason;
  // The answer may have come together with the last line of the authentication.
  bool intact = reader_.take(early, messages, reason);
  while (intact && messages.empty()) {
    awaitReady(POLLIN, deadline);
    intact = read(messages, reason);
  }
  if (!intact) throw Return("org.freedesktop.DBus.Error.Disconnected", reason);
  Received& first = messages.front();
  const bool reply = first.header.type == static_cast<std::uint8_t>(Message::Type::METHOD_RETURN) ||
                     first.header.type == static_cast<std::uint8_t>(Message::Type::ERROR);
  if (!reply || first.header.replySerial != 1)
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus did not answer the greeting");
  const Return answer(first.frame, first.header);
  if (answer.isException()) throw answer;
  if (answer.getSignature() != Message::SIGNATURE_OF<std::string>)
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus answered the greeting without a name");
  answer.begin().get(uniqueName_);
  if (Message::checkBusName(uniqueName_) || uniqueName_[0] != ':')
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus gave this connection the name '" +
                                                          uniqueName_.substr(0, Message::MAXIMUM_NAME_LENGTH) +
                                                          "': expected a unique name, such as :1.7");
  early_.assign(std::make_move_iterator(messages.begin() + 1), std::make_move_iterator(messages.end()));
}

std::ptrdiff_t SocketTransport::write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept {
  constexpr std::size_t MAXIMUM_PIECES = 16;
  iovec pieces[MAXIMUM_PIECES];
  count = std::min(count, MAXIMUM_PIECES);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t skipped = i == 0 ? offset : 0;
    pieces[i].iov_base = const_cast<std::uint8_t*>(frames[i].data() + skipped);
    pieces[i].iov_len = frames[i].size() - skipped;
  }
  msghdr message{};
  message.msg_iov = pieces;
  message.msg_iovlen = count;
  for (;;) {
    const ssize_t written = ::sendmsg(descriptor_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written >= 0) return written;
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) return 0;
    if (errno != EINTR) return -1;
  }
}

bool SocketTransport::read(std::vector<Received>& messages, std::string& reason) {
  std::move(early_.begin(), early_.end(), std::back_inserter(messages));
  early_.clear();
  const MessageReader::Room room = reader_.room();
  ssize_t count = 0;
  do {
    count = ::recv(descriptor_, room.at, room.size, MSG_DONTWAIT);
  } while (count < 0 && errno == EINTR);
  moreThere_ = count == static_cast<ssize_t>(room.size);
  if (count == 0) {
    reason = "the bus closed the connection";
    return false;
  }
  if (count < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    reason = std::strerror(errno);
    return false;
  }
  return reader_.take(static_cast<std::size_t>(count), messages, reason);
}

}  // namespace Quarnix::Bus::Internal
