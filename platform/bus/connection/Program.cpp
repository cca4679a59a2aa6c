// Starts a program by way of a child that ends at once.
#include <platform/bus/connection/Program.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include <platform/bus/message/method/Return.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/log/internal/Character.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

namespace {

/// How a program is started: with the default action for every signal, and none blocked.
class Attributes {
 public:
  Attributes() {
    if (::posix_spawnattr_init(&attributes_) != 0) throw std::bad_alloc();
    sigset_t signals;
    sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* get() const noexcept { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

/// Closes a descriptor at the end of a scope.
struct Closing {
  int descriptor;
  ~Closing() {
    if (descriptor >= 0) ::close(descriptor);
  }
};

[[noreturn]] void fail(int error, const std::string& text) {
  const bool isFull = error == EMFILE || error == ENFILE || error == ENOMEM || error == EAGAIN;
  throw Return(isFull ? "org.freedesktop.DBus.Error.LimitsExceeded" : "org.freedesktop.DBus.Error.NoServer",
               text + ": " + std::strerror(error));
}

/// Makes a file in memory that cannot grow, so that it takes no more than its size.
int makeOutput() noexcept {
  const int descriptor = aboveStandard(::memfd_create("hevra-program", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (descriptor < 0) return -1;
  if (::ftruncate(descriptor, Program::MAXIMUM_OUTPUT) != 0 || ::fcntl(descriptor, F_ADD_SEALS, F_SEAL_GROW) != 0) {
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return -1;
  }
  return descriptor;
}

/// Runs in the child, where only this thread is left and may hardly do more than make system calls. Ends it with 0 or
/// with the error number.
[[noreturn]] void startInChild(const char* path, char* const* arguments, const Attributes& attributes, int stream,
                               int output) noexcept {
  for (const auto& [from, to] : {std::pair(stream, STDIN_FILENO), {stream, STDOUT_FILENO}, {output, STDERR_FILENO}})
    if (::dup2(from, to) < 0) ::_exit(errno);
#ifdef SYS_close_range
  // What the application has not marked close-on-exec stays here. An older system does without.
  ::syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0);
#endif
  pid_t program = 0;
  ::_exit(::posix_spawnp(&program, path, nullptr, attributes.get(), arguments, environ));
}

/// Returns 0, or the error number.
int start(const char* path, char* const* arguments, const Attributes& attributes, int stream, int output) noexcept {
  // The application's handlers must not run in the child.
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  const pid_t child = ::fork();
  if (child == 0) startInChild(path, arguments, attributes, stream, output);
  int error = child < 0 ? errno : 0;
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  int status = 0;
  while (error == 0 && ::waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return 0;  // the application waits for all children, and has got this one
  if (error == 0 && WIFEXITED(status)) error = WEXITSTATUS(status);
  return error;
}

}  // namespace

Program::Program(const Address& address) {
  const Attributes attributes;
  std::vector<std::string> texts = address.arguments;
  std::vector<char*> arguments;
  arguments.reserve(texts.size() + 1);
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);

  const std::string failure = "The program cannot be started";
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail(errno, failure);
  // The destructor does not run if this raises an error.
  Closing ours{aboveStandard(ends[0])};
  const Closing theirs{aboveStandard(ends[1])};
  Closing output{makeOutput()};
  if (ours.descriptor < 0 || theirs.descriptor < 0 || output.descriptor < 0) fail(errno, failure);
  if (const int error = start(address.path.c_str(), arguments.data(), attributes, theirs.descriptor, output.descriptor))
    fail(error, failure);
  std::swap(socket_, ours.descriptor);
  std::swap(output_, output.descriptor);
}

Program::~Program() {
  ::close(socket_);
  ::close(output_);
}

std::string Program::getWords() const {
  std::string written(MAXIMUM_OUTPUT, '\0');
  const ssize_t size = ::pread(output_, written.data(), written.size(), 0);
  written.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  written.resize(std::min(written.size(), written.find('\0')));  // what follows was never written
  written.resize(written.find_last_not_of("\r\n ") + 1);
  std::string words;
  std::string_view rest = written;
  if (rest.size() > MAXIMUM_WORDS) {
    rest.remove_prefix(rest.size() - MAXIMUM_WORDS);
    words = "...";
  }
  while (!rest.empty()) {
    const Log::Character character = Log::firstOf(rest);
    if (character.isPrintable) {
      words += rest.substr(0, character.length);
    } else if (rest.front() == '\n') {
      words += "; ";
    } else if (rest.front() != '\r') {
      words += '?';
    }
    rest.remove_prefix(character.length);
  }
  return words;
}

}  // namespace Quarnix::Bus::Internal
