// Writes what std::cout has taken.
#include <stack/forms/Output.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <string_view>

#include <platform/core/log/internal/WriteWhole.h>
#include <stack/forms/Printable.h>

namespace Quarnix::Hevra::Stack::Forms {

Output::Output(const char* program) : program_(program), former_(std::cout.rdbuf(this)) {
  // A standard descriptor that is closed stays unusable: no file that is opened later takes its place.
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", O_RDONLY);
}

Output::~Output() {
  sync();
  std::cout.rdbuf(former_);
}

void Output::fail(const char* program, int error) noexcept {
  if (error == EPIPE) std::raise(SIGPIPE);  // goes on only where that is ignored
  std::cerr << program << ": standard output cannot be written: " << std::strerror(error) << std::endl;
  ::_exit(2);
}

int Output::sync() {
  const std::string shown = isJson_ ? printableJson(text_) : std::move(text_);
  text_.clear();
  for (std::string_view rest = shown; !(rest = Log::writeWhole(STDOUT_FILENO, rest)).empty();) {
    if (errno != EAGAIN) fail(program_, errno);
    pollfd taken{STDOUT_FILENO, POLLOUT, 0};
    ::poll(&taken, 1, -1);
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

}  // namespace Quarnix::Hevra::Stack::Forms
