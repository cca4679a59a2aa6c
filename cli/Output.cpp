// Writes what std::cout has been given.
#include <cli/Output.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <string_view>

#include <cli/Printable.h>
#include <platform/core/log/internal/WriteWhole.h>

namespace Quarnix::Hevra::Cli {

namespace {

const char* programName = "";

}  // namespace

Output::Output(const char* program) : former_(std::cout.rdbuf(this)) {
  programName = program;
  // A standard descriptor that is closed stays unusable: no file that is opened later takes its number.
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", O_RDONLY);
}

Output::~Output() {
  sync();
  std::cout.rdbuf(former_);
}

void Output::printError(const std::string& text) { std::cerr << programName << ": " << printable(text) << '\n'; }

void Output::printDetail(const std::string& text) { std::cerr << "  " << printable(text) << '\n'; }

void Output::fail(int error) noexcept {
  if (error == EPIPE) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    std::raise(SIGPIPE);  // returns only where the signal is ignored
  }
  std::cerr << programName << ": standard output cannot be written: " << std::strerror(error) << std::endl;
  ::_exit(2);
}

int Output::sync() {
  const std::string shown = isJson_ ? printableJson(text_) : std::move(text_);
  text_.clear();
  for (std::string_view rest = shown; !(rest = Log::writeWhole(STDOUT_FILENO, rest)).empty();) {
    if (errno != EAGAIN) fail(errno);
    pollfd writable{STDOUT_FILENO, POLLOUT, 0};
    ::poll(&writable, 1, -1);
  }
  return 0;
}

Output::int_type Output::overflow(int_type character) {
  if (!traits_type::eq_int_type(character, traits_type::eof())) text_ += traits_type::to_char_type(character);
  return traits_type::not_eof(character);
}

std::streamsize Output::xsputn(const char* text, std::streamsize size) {
  text_.append(text, static_cast<std::size_t>(size));
  return size;
}

}  // namespace Quarnix::Hevra::Cli
