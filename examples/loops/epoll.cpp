// A house on an event loop of your own, with epoll.
#include <sys/epoll.h>

#include <cerrno>
#include <system_error>

#include <examples/loops/House.h>
#include <examples/loops/StopSignals.h>
#include <platform/core/Dispatcher.h>

using namespace Quarnix;

namespace {

int require(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category());
  return result;
}

void watch(int loop, int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  require(::epoll_ctl(loop, EPOLL_CTL_ADD, descriptor, &event));
}

}  // namespace

int main() {
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // before anything is used
  const int signals = openStopSignals();
  const int loop = require(::epoll_create1(EPOLL_CLOEXEC));
  watch(loop, dispatcher.getDescriptor());
  watch(loop, signals);

  const House house;
  while (true) {
    epoll_event event;
    require(::epoll_wait(loop, &event, 1, -1));
    if (event.data.fd == signals) return 0;
    dispatcher.dispatch();
  }
}
