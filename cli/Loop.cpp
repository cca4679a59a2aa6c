// Blocks the signals and reads them from a descriptor.
#include <cli/Loop.h>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <system_error>

#include <cli/Output.h>
#include <platform/core/DescriptorWatch.h>
#include <platform/core/time/Clock.h>
#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Hevra::Cli {

namespace {

sigset_t setOf(std::initializer_list<int> numbers) {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : numbers) sigaddset(&set, number);
  return set;
}

sigset_t handledSignals() { return setOf({SIGINT, SIGTERM, SIGPIPE, SIGTSTP, SIGWINCH}); }

bool isIgnored(int number) {
  struct sigaction action = {};
  ::sigaction(number, nullptr, &action);
  return action.sa_handler == SIG_IGN;
}

sigset_t block() {
  const sigset_t handled = handledSignals();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &handled, &before);
  return before;
}

/// Blocks the signals for a scope.
class BlockedSignals {
 public:
  BlockedSignals() : before_(block()) {}
  ~BlockedSignals() {
    // The write that has failed has told it already.
    const sigset_t pipe = setOf({SIGPIPE});
    constexpr timespec AT_ONCE{0, 0};
    sigtimedwait(&pipe, nullptr, &AT_ONCE);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  const sigset_t before_;
};

/// Opens a descriptor from which the signals are read while they are blocked.
int openSignals() {
  const sigset_t handled = handledSignals();
  const int descriptor = ::signalfd(-1, &handled, SFD_NONBLOCK | SFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  return descriptor;
}

}  // namespace

class Loop::Signals : public DescriptorWatch {
 public:
  explicit Signals(Loop& loop) : Signals(loop, openSignals()) {}
  ~Signals() override {
    retire();
    ::close(descriptor_);
  }

  /// Blocks one more signal and reads it.
  void add(int number) {
    sigset_t all = handledSignals();
    sigaddset(&all, number);
    ::signalfd(descriptor_, &all, 0);
    const sigset_t one = setOf({number});
    pthread_sigmask(SIG_BLOCK, &one, nullptr);
  }

 private:
  Signals(Loop& loop, int descriptor)
      : DescriptorWatch(loop.dispatcher_, descriptor, POLLIN), loop_(loop), descriptor_(descriptor) {}

  void ready(short) override {
    signalfd_siginfo information;
    while (::read(descriptor_, &information, sizeof information) == sizeof information)
      loop_.take(static_cast<int>(information.ssi_signo));
  }

  Loop& loop_;
  const int descriptor_;
};

/// Watches for nothing, and hears of the error that standard output has without a reader.
class Loop::OutputWatch : public DescriptorWatch {
 public:
  explicit OutputWatch(Dispatcher& dispatcher) : DescriptorWatch(dispatcher, STDOUT_FILENO, 0) {}
  ~OutputWatch() override { retire(); }

 private:
  void ready(short) override { Output::fail(EPIPE); }
};

/// Wakes the loop at a deadline.
class Loop::Limit : public Timer::Monotonic {
 public:
  Limit(Loop& loop, const Time::Monotonic& deadline) noexcept : Timer::Monotonic(deadline, false), loop_(loop) {}
  ~Limit() override { retire(); }

 private:
  void expired(const Time::Monotonic&) override { loop_.wake(); }

  Loop& loop_;
};

Loop::Loop() : signals_(std::make_unique<Signals>(*this)) { Dispatcher::setDefault(&dispatcher_); }

Loop::~Loop() = default;

bool Loop::runUntil(const std::function<bool()>& isOver, const Time::Monotonic& deadline) {
  const BlockedSignals blocked;
  Limit limit(*this, deadline);
  if (deadline != Time::Monotonic::never()) limit.start();
  while (!isOver()) {
    if (signal_ != 0) return false;
    if (Time::Clock::get().now() >= deadline) return true;
    dispatcher_.run();
  }
  return true;
}

void Loop::takeSignals() {
  block();
  areSignalsTaken_ = true;
}

void Loop::obeySignal() {
  if (left_) left_();
  std::signal(signal_, SIG_DFL);
  const sigset_t handled = handledSignals();
  pthread_sigmask(SIG_UNBLOCK, &handled, nullptr);
  std::raise(signal_);
  std::abort();  // not reached
}

void Loop::onHangup(std::function<void()> hungUp) {
  hungUp_ = std::move(hungUp);
  signals_->add(SIGHUP);
}

void Loop::watchOutput() {
  try {
    output_ = std::make_unique<OutputWatch>(dispatcher_);
  } catch (const std::system_error& error) {
    if (error.code().value() != EPERM) throw;  // a file has no reader
  }
}

/// Stops the process as SIGTSTP does without the loop.
void Loop::pause() {
  if (isIgnored(SIGTSTP)) return;
  if (left_) left_();
  const sigset_t stop = setOf({SIGTSTP});
  std::raise(SIGTSTP);
  pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);  // stops here, until SIGCONT comes
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  if (resumed_) resumed_();
}

void Loop::take(int signal) {
  if (signal == SIGTSTP) pause();
  if (signal == SIGWINCH && resized_) resized_();
  if (signal == SIGHUP && hungUp_) hungUp_();
  if (signal != SIGINT && signal != SIGTERM) return;  // SIGPIPE: the write that has failed has told it already
  if (!areSignalsTaken_ && isIgnored(signal)) return;
  if (signal_ == 0) signal_ = signal;
  wake();
}

}  // namespace Quarnix::Hevra::Cli
