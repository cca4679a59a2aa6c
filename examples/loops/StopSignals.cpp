// Opens a signalfd.
#include <examples/loops/StopSignals.h>

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

int openStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}
