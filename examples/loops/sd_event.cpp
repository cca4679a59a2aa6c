// A house on the event loop of libsystemd.
#include <sys/epoll.h>
#include <systemd/sd-event.h>

#include <system_error>

#include <examples/loops/House.h>
#include <examples/loops/StopSignals.h>
#include <platform/core/Dispatcher.h>

using namespace Quarnix;

namespace {

void require(int result) {
  if (result < 0) throw std::system_error(-result, std::generic_category());
}

int dispatch(sd_event_source*, int, std::uint32_t, void* dispatcher) {
  static_cast<Dispatcher*>(dispatcher)->dispatch();
  return 0;
}

int quit(sd_event_source* source, int, std::uint32_t, void*) {
  return sd_event_exit(sd_event_source_get_event(source), 0);
}

}  // namespace

int main() {
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // before anything is used
  sd_event* loop = nullptr;
  require(sd_event_new(&loop));
  // Without a place for the source, the loop owns it.
  require(sd_event_add_io(loop, nullptr, dispatcher.getDescriptor(), EPOLLIN, dispatch, &dispatcher));
  require(sd_event_add_io(loop, nullptr, openStopSignals(), EPOLLIN, quit, nullptr));

  const House house;
  const int status = sd_event_loop(loop);
  sd_event_unref(loop);  // before the dispatcher closes its descriptor
  return status;
}
