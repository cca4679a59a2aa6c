// The base of proxies and servers: a path, a connection, a task, and the queue of messages for the task.
#pragma once

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <platform/bus/Connection.h>
#include <platform/bus/DeliveryQueue.h>
#include <platform/bus/Receiver.h>
#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Object {

/// A bus object is a task. Its hooks run on its own thread, one message at a time, in the order of arrival.
///
///      STOPPED ── start ──> STARTING ── attached ──> STARTED ── stop ──> STOPPING ── detached ──> STOPPED
///                               └────── failed ──────────────────────────────────────────────────────^
///
/// Threads: call `setPath` and `setConnection` before the first use, anything else from any thread.
/// Retiring: a class that overrides a hook calls `retire` first in its own destructor. A class that is derived from a
/// manager calls `stop` there instead, whether it overrides a hook or not, because the manager's destructor is too
/// late. Fields: it has more than 14, because the queue, its limits and the object's life share one mutex.
class HEVRA_EXPORT Base : public Task, protected Internal::Receiver {
 public:
  /// How much may wait for an object's task, unless `setLargestQueue` says otherwise. If more comes, the oldest signals
  /// are dropped, with at most one warning a second, and calls are answered with
  /// "org.freedesktop.DBus.Error.LimitsExceeded".
  static constexpr std::size_t MAXIMUM_QUEUED_MESSAGES = 65536;
  static constexpr std::size_t MAXIMUM_QUEUED_BYTES = std::size_t{16} << 20;

  Base();
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  ~Base() override;

  /// The object path. It is not checked here: if it is no path, `start` and `send` fail with an error that names it.
  void setPath(const std::string& path) { path_ = path; }
  const std::string& getPath() const noexcept { return path_; }

  /// Uses this connection instead of Connection::getDefault().
  void setConnection(Shared::Pointer<Connection> connection);
  /// The connection in use. Raises what Connection::getDefault raises.
  const Shared::Pointer<Connection>& getConnection() const;

  /// Sets how many messages may wait for the object's task, and how many bytes they may have together. A message of
  /// more bytes never waits, even if it is the only one. Call it at any time.
  void setLargestQueue(std::size_t messages, std::size_t bytes);

  /// Begins delivery. With `wait` true, it returns when the object is subscribed or served; if that fails, it raises
  /// StartFailed or InvalidArgument, and the object is stopped. With `wait` false, it returns at once and keeps trying
  /// in the background; use this at boot, before the bus or the service is there. If the object is started, does
  /// nothing.
  virtual void start(bool wait) = 0;
  /// Ends delivery. It returns when no hook of the object runs any more and none will. On a task's thread it does not
  /// wait: the hook that runs is the last one. Calls that waited get an error reply.
  ///
  /// If several threads call `start` and `stop` of one object, one call waits for the other. Only a task's thread does
  /// not wait for another thread: its `stop` during a `start` takes effect at the end of the `start`, and its `start`
  /// during a `stop` raises StartFailed.
  virtual void stop() = 0;

 protected:
  void entry() override;
  /// `begin` and `end` call these in turn, to bring the object to the connection and to take it away again.
  virtual void attach(bool wait) = 0;
  virtual void detach() = 0;
  void begin(bool wait);
  void end();
  /// Lets the task deliver the ends of calls, also of an object that was stopped.
  void expectReplies();

 private:
  using Delivery = Internal::Delivery;
  enum class Life : std::uint8_t { STOPPED, STARTING, STARTED, STOPPING };

  Queued enqueue(Message::Frame frame, const Message::Header& header, bool droppable) override;
  void countRefused() override;
  void ended(std::unique_ptr<Delivery> call) noexcept override;
  /// Warns at most once a second, and before the object is stopped.
  HEVRA_INTERNAL void warnOfKeptOut(bool isLast);
  /// Runs the hook for one message.
  virtual void deliver(Message::Frame frame, const Message::Header& header) = 0;
  /// Answers a call that was in the queue when the object was stopped.
  virtual void refuse(Message::Frame frame, const Message::Header& header) = 0;
  /// The warning that so many messages were kept out, because the queue was full or the sender was refused.
  virtual std::string describeKeptOut(unsigned count) const = 0;
  /// Makes the thread and begins to deliver. Raises StartFailed.
  HEVRA_INTERNAL void beginDelivery();
  /// Waits for the hook and refuses what is queued, when the connection delivers nothing more.
  HEVRA_INTERNAL void endDelivery();
  HEVRA_INTERNAL void useDispatcher();
  HEVRA_INTERNAL bool settle(Life life) noexcept HEVRA_EXCLUDES(queueMutex_);

  static constexpr unsigned NEVER = UINT_MAX;
  std::atomic<unsigned> startedIn_{NEVER};  // the process of the last start or asynchronous call, by its forkCount
  std::string path_;
  mutable Mutex connectionMutex_;
  mutable Shared::Pointer<Connection> connection_ HEVRA_GUARDED_BY(connectionMutex_);

  Mutex queueMutex_;
  Internal::DeliveryQueue queue_ HEVRA_GUARDED_BY(queueMutex_){MAXIMUM_QUEUED_MESSAGES, MAXIMUM_QUEUED_BYTES};
  Life life_ HEVRA_GUARDED_BY(queueMutex_) = Life::STOPPED;
  bool stopAsked_ HEVRA_GUARDED_BY(queueMutex_) = false;  // while the object was starting
  ConditionVariable lifeChanged_;
  bool delivering_ HEVRA_GUARDED_BY(queueMutex_) = false;
  unsigned keptOut_ HEVRA_GUARDED_BY(queueMutex_) = 0;  // how many messages since the last warning
  Time::Monotonic nextWarning_ HEVRA_GUARDED_BY(queueMutex_);
};

}  // namespace Quarnix::Bus::Object
