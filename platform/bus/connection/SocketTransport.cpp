// Sends and receives over the socket of a bus daemon.
#include <platform/bus/connection/SocketTransport.h>

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace Quarnix::Bus::Internal {

Transport::~Transport() = default;

SocketTransport::SocketTransport(int descriptor, Admission& admission) : descriptor_(descriptor), reader_(admission) {}

SocketTransport::SocketTransport(std::unique_ptr<Program> program, Admission& admission)
    : program_(std::move(program)), descriptor_(program_->socket()), reader_(admission) {}

SocketTransport::~SocketTransport() {
  if (!program_) ::close(descriptor_);
}

std::string SocketTransport::programWords() const {
  const std::string words = program_ ? program_->getWords() : "";
  return words.empty() ? words : "; the program in between said: " + words;
}

void SocketTransport::shutdown() noexcept { ::shutdown(descriptor_, SHUT_RDWR); }

bool SocketTransport::takeEarly(const char* bytes, std::size_t count, std::vector<Received>& messages,
                                std::string& reason) {
  if (count > 0) std::memcpy(reader_.room().at, bytes, count);
  return reader_.take(count, messages, reason);
}

std::ptrdiff_t SocketTransport::write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept {
  constexpr std::size_t MAXIMUM_PIECES = 32;
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
    reason = "the bus closed the connection" + programWords();
    return false;
  }
  if (count < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    reason = std::strerror(errno) + programWords();
    return false;
  }
  return reader_.take(static_cast<std::size_t>(count), messages, reason);
}

}  // namespace Quarnix::Bus::Internal
