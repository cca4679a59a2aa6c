// A house on GLib's main loop.
#include <glib-unix.h>

#include <examples/loops/House.h>
#include <examples/loops/StopSignals.h>
#include <platform/core/Dispatcher.h>

using namespace Quarnix;

namespace {

gboolean dispatch(gint, GIOCondition, gpointer dispatcher) {
  static_cast<Dispatcher*>(dispatcher)->dispatch();
  return G_SOURCE_CONTINUE;
}

gboolean quit(gint, GIOCondition, gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main() {
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // before anything is used
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  const guint watch = g_unix_fd_add(dispatcher.getDescriptor(), G_IO_IN, dispatch, &dispatcher);
  g_unix_fd_add(openStopSignals(), G_IO_IN, quit, loop);  // g_unix_signal_add would start a thread

  const House house;
  g_main_loop_run(loop);
  g_source_remove(watch);  // before the dispatcher closes its descriptor
  g_main_loop_unref(loop);
}
