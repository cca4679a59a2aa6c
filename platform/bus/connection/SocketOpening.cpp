// Connects, authenticates and says hello.
#include <platform/bus/connection/SocketOpening.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

namespace {

/// The time between two attempts while the bus's queue of connections is full.
constexpr Time::Elapsed FULL_QUEUE_PAUSE{0, 10'000'000};

std::string describe(const Address& address) {
  if (address.isProgram()) return "unixexec:path=" + address.path;
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

/// Returns a connected socket, or -1 with errno set.
int connectTo(const Address& address) noexcept {
  const int descriptor = aboveStandard(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (descriptor < 0) return -1;
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, address.path.data(), address.path.size());
  const auto length =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.path.size() + (address.path[0] == '\0' ? 0 : 1));
  while (::connect(descriptor, reinterpret_cast<const sockaddr*>(&name), length) != 0) {
    if (errno == EINTR) continue;
    const int error = errno;
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

bool wouldBlock() noexcept { return errno == EAGAIN || errno == EWOULDBLOCK; }

}  // namespace

std::shared_ptr<Transport> Opening::complete(const Time::Monotonic& deadline) {
  while (const std::optional<Interest> wait = proceed()) {
    if (Time::Clock::get().now() >= deadline) return nullptr;
    pollfd descriptors[2] = {{wait->descriptor, wait->events, 0}, {}};
    Time::Clock::get().poll(descriptors, wait->descriptor < 0 ? 0 : 1, std::min(deadline, wait->until));
  }
  return take();
}

SocketOpening::SocketOpening(std::vector<Address> addresses, const Time::Monotonic& deadline, Admission& admission,
                             std::string flight)
    : addresses_(std::move(addresses)), deadline_(deadline), admission_(admission), flight_(std::move(flight)) {}

SocketOpening::~SocketOpening() = default;

std::shared_ptr<Transport> SocketOpening::take() noexcept { return std::move(transport_); }

Opening::Interest SocketOpening::awaiting(short events) const noexcept {
  return {transport_->descriptor(), events, deadline_};
}

std::optional<Opening::Interest> SocketOpening::proceed() {
  while (state_ != State::OPEN) {
    try {
      if (Wait wait = flush()) return wait;
      if (Wait wait = step()) return wait;
    } catch (const Return& error) {
      fail(error);
    }
  }
  return std::nullopt;
}

/// Goes to the next address; after the last one, throws what went wrong at the first.
void SocketOpening::fail(const Return& error) {
  if (!failure_) {
    const std::string words = transport_ ? transport_->programWords() : "";
    std::string text = error.getErrorText();
    if (!text.ends_with(words)) text += words;  // an error of the transport has them already
    failure_.emplace(error.getErrorName(),
                     "Cannot connect to the message bus at " + describe(addresses_[address_]) + ": " + text);
  }
  state_ = State::CONNECTING;
  transport_.reset();
  output_.clear();
  arrived_.clear();
  if (++address_ == addresses_.size()) throw *failure_;
}

/// Returns nothing when the state has changed.
SocketOpening::Wait SocketOpening::step() {
  Wait wait = state_ == State::CONNECTING ? connect() : state_ == State::AUTHENTICATING ? authenticate() : greet();
  if (wait && Time::Clock::get().now() >= deadline_)
    throw Return("org.freedesktop.DBus.Error.Timeout", "The bus did not finish the greeting in time");
  return wait;
}

SocketOpening::Wait SocketOpening::connect() {
  const Address& address = addresses_[address_];
  if (address.isProgram()) {
    transport_ = std::make_shared<SocketTransport>(std::make_unique<Program>(address), admission_);
    authentication_.emplace(std::nullopt, address.guid);
  } else {
    const int descriptor = connectTo(address);
    if (descriptor < 0) {
      // EAGAIN: the bus's queue of connections is full. All you can do is try again later.
      const Time::Monotonic now = Time::Clock::get().now();
      if (errno == EAGAIN && now < deadline_) return Interest{-1, 0, std::min(deadline_, now + FULL_QUEUE_PAUSE)};
      const int error = errno;
      throw Return(errorNameOf(error), std::strerror(error));
    }
    transport_ = make(descriptor, admission_);
    authentication_.emplace(static_cast<std::uint32_t>(::geteuid()), address.guid);
  }
  Message::Method::Call hello = driverCall("Hello");
  const Message::Frame frame = hello.seal(1, {});
  output_ = authentication_->lines();
  output_.append(reinterpret_cast<const char*>(frame.data()), frame.size());
  output_ += flight_;
  state_ = State::AUTHENTICATING;
  return std::nullopt;
}

SocketOpening::Wait SocketOpening::flush() {
  while (!output_.empty()) {
    const ssize_t written =
        ::send(transport_->descriptor(), output_.data(), output_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written >= 0) {
      output_.erase(0, static_cast<std::size_t>(written));
    } else if (wouldBlock()) {
      if (Time::Clock::get().now() >= deadline_)
        throw Return("org.freedesktop.DBus.Error.Timeout", "The bus did not finish the greeting in time");
      return awaiting(POLLOUT);
    } else if (errno != EINTR) {
      failAuthentication(errno);
    }
  }
  return std::nullopt;
}

SocketOpening::Wait SocketOpening::authenticate() {
  char piece[Authentication::MAXIMUM_LINE];
  const ssize_t count = ::recv(transport_->descriptor(), piece, sizeof piece, MSG_DONTWAIT);
  if (count == 0) failAuthentication(0);
  if (count < 0) {
    if (wouldBlock()) return awaiting(POLLIN);
    if (errno == EINTR) return std::nullopt;
    failAuthentication(errno);
  }
  const auto size = static_cast<std::size_t>(count);
  const std::size_t used = authentication_->feed(piece, size);
  if (authentication_->state() == Authentication::State::REFUSED)
    throw Return("org.freedesktop.DBus.Error.AuthFailed", authentication_->reason());
  if (authentication_->state() == Authentication::State::WAITING) return std::nullopt;
  // What comes behind the last line of the dialogue belongs to messages.
  std::string reason;
  if (!transport_->takeEarly(piece + used, size - used, arrived_, reason))
    throw Return("org.freedesktop.DBus.Error.Disconnected", reason);
  state_ = State::GREETING;
  return std::nullopt;
}

/// The other end has closed the socket. What it had not read by then makes that an error. A program ends if it reaches
/// no bus.
void SocketOpening::failAuthentication(int error) const {
  if (addresses_[address_].isProgram())
    throw Return("org.freedesktop.DBus.Error.NoServer", "The program in between has ended and reached no bus");
  if (error != 0 && error != ECONNRESET && error != EPIPE)
    throw Return("org.freedesktop.DBus.Error.Disconnected", std::strerror(error));
  throw Return("org.freedesktop.DBus.Error.AuthFailed", "The bus closed the connection during authentication");
}

SocketOpening::Wait SocketOpening::greet() {
  // The bus answers Hello before it sends anything else. The answer may have come with the authentication's last line.
  std::string reason;
  if (arrived_.empty() && !transport_->read(arrived_, reason))
    throw Return("org.freedesktop.DBus.Error.Disconnected", reason);
  if (arrived_.empty()) return awaiting(POLLIN);
  readName(arrived_.front());
  arrived_.erase(arrived_.begin());
  transport_->keepEarly(std::move(arrived_));
  state_ = State::OPEN;
  return std::nullopt;
}

void SocketOpening::readName(const Received& first) {
  const bool reply = first.header.type == static_cast<std::uint8_t>(Message::Type::METHOD_RETURN) ||
                     first.header.type == static_cast<std::uint8_t>(Message::Type::ERROR);
  if (!reply || first.header.replySerial != 1)
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus did not answer the greeting");
  const Return answer(first.frame, first.header);
  if (answer.isException()) throw answer;
  if (answer.getSignature() != Message::SIGNATURE_OF<std::string>)
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus answered the greeting without a name");
  std::string name;
  answer.begin().get(name);
  if (Message::checkBusName(name) || name[0] != ':')
    throw Return("org.freedesktop.DBus.Error.Failed", "The bus gave this connection the name '" +
                                                          name.substr(0, Message::MAXIMUM_NAME_LENGTH) +
                                                          "': expected a unique name, such as :1.7");
  transport_->setUniqueName(std::move(name));
}

}  // namespace Quarnix::Bus::Internal
