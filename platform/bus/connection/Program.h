// A program that runs in between: what it reads and writes goes to a bus that this process cannot reach by itself.
#pragma once

#include <string>

#include <platform/bus/connection/Address.h>

namespace Quarnix::Bus::Internal {

/// Starts a program and holds the other end of its standard input and output, which are one socket. The program gets
/// the default signal actions, no blocked signal, and no other descriptor of this process. It is expected to end when
/// its standard input does.
///
/// The program is no child of this process: a child in between starts it and ends at once. So this process need not
/// wait for the program, and gets no SIGCHLD from it. The program stays in the process group, so that it can ask the
/// user for a password on the terminal.
class Program {
 public:
  /// The most that is kept of what the program writes to its standard error, in bytes, and the most that `getWords`
  /// returns.
  static constexpr std::size_t MAXIMUM_OUTPUT = 16 * 1024;
  static constexpr std::size_t MAXIMUM_WORDS = 1024;

  /// Returns when the program runs. Throws an error reply if it cannot be started; raises std::bad_alloc.
  explicit Program(const Address& address);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The socket, which is the program's standard input and output at its other end.
  int socket() const noexcept { return socket_; }
  /// Returns the end of what the program has written to its standard error so far: one line of printable UTF-8, with
  /// "; " in place of the ends of lines.
  std::string getWords() const;

 private:
  int socket_ = -1;
  int output_ = -1;  // a file in memory, so that the program never waits for a reader
};

}  // namespace Quarnix::Bus::Internal
