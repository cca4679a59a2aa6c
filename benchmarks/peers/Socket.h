// A minimal client of a bus, which sends and receives bytes. The service that all peers call uses it, and so does the
// measurement of a call without a library.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include <benchmarks/peers/Wire.h>

namespace Peers {

inline std::uint32_t wordAt(std::string_view bytes, std::size_t at) {
  std::uint32_t word = 0;
  std::memcpy(&word, bytes.data() + at, sizeof word);
  return word;
}

/// A connection to the bus, authenticated and registered.
class Socket {
 public:
  explicit Socket(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no bus at " + path);
    const std::string user = std::to_string(::getuid());
    write(std::string_view("\0AUTH EXTERNAL ", 15));
    for (const char digit : user) write({"3", 1}), write({&digit, 1});
    write("\r\n");
    std::size_t size = 1;
    while (!peek(size).ends_with('\n')) ++size;
    if (!peek(size).starts_with("OK ")) throw std::runtime_error("the bus refuses");
    take(size);
    write("BEGIN\r\n");
    callBus("Hello", "", "");
  }
  ~Socket() { ::close(fd_); }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) throw std::runtime_error("the bus has gone");
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  /// Waits for the first `size` bytes that were not taken yet, and returns them.
  std::string_view peek(std::size_t size) {
    while (input_.size() - taken_ < size) {
      input_.erase(0, taken_);
      taken_ = 0;
      const std::size_t before = input_.size();
      input_.resize(before + (std::size_t{1} << 18));
      const ssize_t count = ::recv(fd_, input_.data() + before, input_.size() - before, 0);
      if (count <= 0) throw std::runtime_error("the bus has gone");
      input_.resize(before + static_cast<std::size_t>(count));
    }
    return std::string_view(input_).substr(taken_, size);
  }
  void take(std::size_t size) { taken_ += size; }
  /// Waits for the next message. It must be little-endian, as all peers on this machine write.
  std::string_view nextMessage() {
    const std::string_view fixed = peek(16);
    const std::size_t size = 16 + (wordAt(fixed, 12) + 7) / 8 * 8 + wordAt(fixed, 4);
    return peek(size);
  }
  /// Calls the bus itself and waits for its answer.
  void callBus(std::string_view member, std::string_view signature, const std::string& body) {
    const Head head{.serial = ++serial_,
                    .path = "/org/freedesktop/DBus",
                    .interface = "org.freedesktop.DBus",
                    .member = member,
                    .destination = "org.freedesktop.DBus",
                    .sender = {},
                    .signature = signature};
    write(header(head, body.size()) + body);
    for (bool answered = false; !answered; take(size_)) {
      const std::string_view message = nextMessage();
      size_ = message.size();
      if (message[1] == 3) throw std::runtime_error("the bus refuses a " + std::string(member));
      answered = message[1] == 2;
    }
  }
  std::uint32_t nextSerial() { return ++serial_; }
  int descriptor() const { return fd_; }

 private:
  int fd_;
  std::string input_;
  std::size_t taken_ = 0, size_ = 0;
  std::uint32_t serial_ = 0;
};

}  // namespace Peers
