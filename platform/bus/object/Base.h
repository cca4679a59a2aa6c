// What proxies and servers have in common: a path, a connection, and a queue of messages that their own task works off.
#pragma once

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <platform/bus/Connection.h>
#include <platform/bus/Receiver.h>
#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Object {

/// A bus object is a task: its hooks run on its own thread, one message at a time, in the order of arrival.
///
/// Threads: `setPath` and `setConnection` before the first use; everything else from any thread.
/// Retiring: a class that overrides a hook calls `retire` as the first act of its own destructor. A class derived from
/// a manager calls `stop` there instead, whether it overrides a hook or not: the manager's own destructor is too late.
class HEVRA_EXPORT Base : public Task, protected Internal::Receiver {
 public:
  /// How much waits for an object's task at the most, unless `setLargestQueue` says otherwise. Beyond it the oldest
  /// signals are dropped, with at most one warning a second, and calls are answered with
  /// "org.freedesktop.DBus.Error.LimitsExceeded".
  static constexpr std::size_t MAXIMUM_QUEUED_MESSAGES = 65536;
  static constexpr std::size_t MAXIMUM_QUEUED_BYTES = std::size_t{16} << 20;

  Base();
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  ~Base() override;

  /// The object path. It is kept as given; one that is no path makes `start` and `send` fail with an error that names
  /// it.
  void setPath(const std::string& path) { path_ = path; }
  const std::string& getPath() const noexcept { return path_; }

  /// Which connection to use instead of Connection::getDefault().
  void setConnection(Shared::Pointer<Connection> connection);
  /// The connection in use. Raises what Connection::getDefault raises.
  const Shared::Pointer<Connection>& getConnection() const;

  /// How much waits for the object's task at the most: messages, and bytes of all of them. A message of more bytes
  /// never waits, also when it is the only one. Any time.
  void setLargestQueue(std::size_t messages, std::size_t bytes);

  /// Begins delivery. `wait` true: returns when the object is subscribed or served, and raises StartFailed or
  /// InvalidArgument if that fails, with nothing half started. False: returns at once and keeps trying in the
  /// background, for use at boot, before the bus or the service is there. Starting what is started does nothing.
  virtual void start(bool wait) = 0;
  /// Ends delivery: returns when no hook of the object runs any more and none will. Called on any task's thread it does
  /// not wait: nothing new is delivered after it, and what runs is the last. Calls that were waiting get an error
  /// reply.
  ///
  /// Of one object, `start` and `stop` of several threads come one after the other. Only a task's thread does not wait
  /// for another's: its `stop` during a `start` takes effect as the end of that, and its `start` during a `stop` raises
  /// StartFailed.
  virtual void stop() = 0;

 protected:
  void entry() override;
  /// What `start` and `stop` come to: brings the object to the connection and takes it away again. They are called in
  /// turns.
  virtual void attach(bool wait) = 0;
  virtual void detach() = 0;
  void begin(bool wait);
  void end();

 private:
  struct Delivery;
  enum class Life : std::uint8_t { STOPPED, STARTING, STARTED, STOPPING };

  bool enqueue(Message::Frame frame, const Message::Header& header, bool droppable) override;
  void countRefused() override;
  std::unique_ptr<Delivery> takeFirst() HEVRA_REQUIRES(queueMutex_);
  /// At most once a second, unless it is the last before the object is stopped.
  void warnOfKeptOut(bool isLast);
  /// Runs the hook for one message.
  virtual void deliver(Message::Frame frame, const Message::Header& header) = 0;
  /// Answers a call that waited when the object was stopped.
  virtual void refuse(Message::Frame frame, const Message::Header& header) = 0;
  /// The warning that so many messages were kept out: those that found the queue full, or were not for it.
  virtual std::string describeKeptOut(unsigned count) const = 0;
  /// Makes the thread and begins to deliver. Raises StartFailed.
  void beginDelivery();
  /// Once the connection delivers nothing more: waits for the hook and refuses what is queued.
  void endDelivery();
  bool settle(Life life) noexcept HEVRA_EXCLUDES(queueMutex_);

  static constexpr unsigned NEVER = UINT_MAX;
  std::atomic<unsigned> startedIn_{NEVER};  // the process, by its forkCount
  std::string path_;
  mutable Mutex connectionMutex_;
  mutable Shared::Pointer<Connection> connection_ HEVRA_GUARDED_BY(connectionMutex_);

  Mutex queueMutex_;
  std::unique_ptr<Delivery> first_ HEVRA_GUARDED_BY(queueMutex_);
  Delivery* last_ HEVRA_GUARDED_BY(queueMutex_) = nullptr;
  std::size_t largestMessages_ HEVRA_GUARDED_BY(queueMutex_) = MAXIMUM_QUEUED_MESSAGES;
  std::size_t largestBytes_ HEVRA_GUARDED_BY(queueMutex_) = MAXIMUM_QUEUED_BYTES;
  std::size_t queuedMessages_ HEVRA_GUARDED_BY(queueMutex_) = 0;
  std::size_t queuedBytes_ HEVRA_GUARDED_BY(queueMutex_) = 0;
  Life life_ HEVRA_GUARDED_BY(queueMutex_) = Life::STOPPED;
  bool stopAsked_ HEVRA_GUARDED_BY(queueMutex_) = false;  // while it was starting
  ConditionVariable lifeChanged_;
  bool delivering_ HEVRA_GUARDED_BY(queueMutex_) = false;
  unsigned keptOut_ HEVRA_GUARDED_BY(queueMutex_) = 0;  // messages, since the last warning
  Time::Monotonic nextWarning_ HEVRA_GUARDED_BY(queueMutex_);
};

}  // namespace Quarnix::Bus::Object
