// How a connection delivers messages to a bus object.
#pragma once

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Storage.h>

namespace Quarnix::Bus::Internal {

/// A bus object, as the connection sees it. The caller holds the connection's mutex, so no operation may use the
/// connection.
class Receiver {
 public:
  /// Queues a message for the object's task. If the queue is full and messages are `droppable`, drops the oldest ones;
  /// if they are not, returns false. Raises std::bad_alloc.
  virtual bool enqueue(Message::Frame frame, const Message::Header& header, bool droppable) = 0;
  /// Counts a call that was refused, for a warning.
  virtual void countRefused() = 0;

 protected:
  ~Receiver() = default;
};

}  // namespace Quarnix::Bus::Internal
