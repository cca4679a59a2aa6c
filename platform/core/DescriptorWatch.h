// Watches a descriptor of the application's on a dispatcher: a terminal, a socket, a signalfd.
#pragma once

#include <memory>

#include <platform/core/Dispatcher.h>
#include <platform/core/Export.h>

namespace Quarnix {

/// Runs `ready` within Dispatcher::dispatch while the descriptor is ready, as poll(2) understands it: again and again,
/// until you have read or written.
///
///   class Signals : public DescriptorWatch {
///    public:
///     Signals(Dispatcher& dispatcher, int signals) : DescriptorWatch(dispatcher, signals, POLLIN) {}
///     ~Signals() override { retire(); }
///
///    protected:
///     void ready(short events) override;
///   };
///
/// Threads: make it on the thread that dispatches, or while none does. Destroy it on any thread.
/// Ownership: the descriptor stays yours. Retire the watch before you close the descriptor. The dispatcher may go
/// first.
class HEVRA_EXPORT DescriptorWatch {
 public:
  /// `events`: POLLIN, POLLOUT, POLLPRI and POLLRDHUP, or 0; errors and hang-ups are watched in any case. Raises
  /// std::system_error if the descriptor is none that can be polled, such as a file's, if it is already watched on this
  /// dispatcher, if there is no memory, and in a forked child.
  DescriptorWatch(Dispatcher& dispatcher, int descriptor, short events);
  DescriptorWatch(const DescriptorWatch&) = delete;
  DescriptorWatch& operator=(const DescriptorWatch&) = delete;
  virtual ~DescriptorWatch();

 protected:
  /// The hook, with the events that there are, as in pollfd::revents. It may retire the watch.
  virtual void ready(short events) = 0;

  /// Ends the watch: `ready` does not run when it returns, and never will. Within `dispatch` it does not wait: the run
  /// that is under way is the last. Retire the watch first in the destructor of the overriding class.
  void retire() noexcept;

 private:
  class HEVRA_INTERNAL Source;
  const std::unique_ptr<Source> source_;
};

}  // namespace Quarnix
