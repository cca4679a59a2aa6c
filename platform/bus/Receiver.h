// How a connection delivers messages to a bus object.
#pragma once

#include <cstddef>
#include <memory>

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Storage.h>

namespace Quarnix::Bus::Internal {

class AsyncCall;

/// What waits for an object's task: a message that has arrived, or the end of an asynchronous call of the object.
struct Delivery {
  Message::Frame frame = {};
  Message::Header header = {};
  std::shared_ptr<AsyncCall> call = {};
  std::unique_ptr<Delivery> next = {};
};

/// Whoever makes asynchronous calls, as the connection sees it.
class Caller {
 public:
  /// Queues the end of a call for the task on which its handler runs. It needs no memory. The caller may hold the
  /// connection's mutex, so this must not use the connection.
  virtual void ended(std::unique_ptr<Delivery> call) noexcept = 0;

 protected:
  ~Caller() = default;
};

/// A bus object, as the connection sees it. The caller holds the connection's mutex, so no operation may use the
/// connection.
class Receiver : public Caller {
 public:
  /// What became of a message.
  struct Queued {
    bool isTaken;         // false: it does not fit, and may not drop others
    std::size_t dropped;  // how many messages were dropped for it, itself included
  };
  /// Queues a message for the object's task. If the queue is full and messages are `droppable`, drops the oldest ones.
  /// Raises std::bad_alloc.
  virtual Queued enqueue(Message::Frame frame, const Message::Header& header, bool droppable) = 0;
  /// Counts a call that was refused, for a warning.
  virtual void countRefused() = 0;

 protected:
  ~Receiver() = default;
};

}  // namespace Quarnix::Bus::Internal
