// Makes the background thread and lets it sleep.
#include <platform/bus/connection/ListenerThread.h>

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/internal/Thread.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

namespace {

constexpr unsigned int STACK_SIZE = 16 * 1024;
/// The descriptor that an event is of.
constexpr std::uint64_t WAKE = 0, SOCKET = 1;

epoll_event eventOf(std::uint64_t descriptor, std::uint32_t events) noexcept {
  epoll_event event{};
  event.events = events;
  event.data.u64 = descriptor;
  return event;
}

[[noreturn]] void fail(int error) {
  throw StartFailed(std::string("Cannot listen to the message bus in the background: ") + std::strerror(error));
}

}  // namespace

ListenerThread::~ListenerThread() {
  if (epoll_ >= 0) ::close(epoll_);
  if (wakeDescriptor_ >= 0) ::close(wakeDescriptor_);
}

void ListenerThread::open() {
  if (epoll_ < 0) epoll_ = aboveStandard(::epoll_create1(EPOLL_CLOEXEC));
  if (epoll_ >= 0 && wakeDescriptor_ < 0) {
    wakeDescriptor_ = aboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    epoll_event event = eventOf(WAKE, EPOLLIN);
    if (wakeDescriptor_ >= 0) ::epoll_ctl(epoll_, EPOLL_CTL_ADD, wakeDescriptor_, &event);
  }
  if (epoll_ < 0 || wakeDescriptor_ < 0) fail(errno);
}

struct ListenerThread::Start {
  ListenerThread& thread;
  std::shared_ptr<Body> body;
};

void ListenerThread::start() {
  if (readsAtOnce()) return;
  open();
  auto shared = std::make_unique<Start>(Start{*this, body_.share()});
  pthread_t thread{};
  if (const int error = startThread(thread, STACK_SIZE, "hevra-bus", &ListenerThread::runThread, shared.get()))
    fail(error);
  ::pthread_detach(thread);
  static_cast<void>(shared.release());
  state_ = State::RUNNING;
}

void* ListenerThread::runThread(void* start) {
  const std::unique_ptr<Start> shared(static_cast<Start*>(start));
  while (!shared->body->listen(shared->thread)) {
  }
  return nullptr;
}

void ListenerThread::end() noexcept {
  state_ = State::NO_THREAD;
  forget(watched_);
}

void ListenerThread::wake() noexcept {
  if (state_ == State::NO_THREAD) return;
  changed_.notifyAll();
  ::eventfd_write(wakeDescriptor_, 1);
}

void ListenerThread::arm(std::uint32_t events) noexcept {
  if (!watched_ || armed_ == events) return;
  epoll_event event = eventOf(SOCKET, events);
  ::epoll_ctl(epoll_, EPOLL_CTL_MOD, watched_->descriptor(), &event);
  armed_ = events;
}

void ListenerThread::forget(const Transport* link) noexcept {
  if (!link || watched_ != link) return;
  // Closing the socket is not enough while a forked child has it too: the set would report its end for ever.
  ::epoll_ctl(epoll_, EPOLL_CTL_DEL, watched_->descriptor(), nullptr);
  watched_ = nullptr;
  armed_ = 0;
}

bool ListenerThread::unpark() noexcept {
  if (state_ != State::PARKED) return false;
  changed_.notifyAll();
  return true;
}

bool ListenerThread::sleep(Mutex& mutex, const Transport& link, std::uint32_t events) {
  if (watched_ == &link) {
    arm(events);
  } else {
    epoll_event event = eventOf(SOCKET, events);
    ::epoll_ctl(epoll_, EPOLL_CTL_ADD, link.descriptor(), &event);
    watched_ = &link;
    armed_ = events;
  }
  epoll_event ready[2] = {};
  int count = 0;
  {
    MutexUnlock unlock(mutex);
    count = ::epoll_wait(epoll_, ready, 2, -1);
  }
  bool isReady = false;
  for (int i = 0; i < count; ++i) {
    if (ready[i].data.u64 == SOCKET) {
      isReady = true;
      continue;
    }
    eventfd_t ignored = 0;
    ::eventfd_read(wakeDescriptor_, &ignored);
  }
  return isReady;
}

void ListenerThread::park(Mutex& mutex) {
  state_ = State::PARKED;
  changed_.wait(mutex);
  state_ = State::RUNNING;
}

bool ListenerThread::pause(Mutex& mutex, const Time::Monotonic& until) {
  return Time::Clock::get().wait(changed_, mutex, until);
}

}  // namespace Quarnix::Bus::Internal
