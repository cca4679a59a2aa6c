// What a connection delivers messages to.
#pragma once

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Storage.h>

namespace Quarnix::Bus::Internal {

/// A bus object, as the connection sees it. Called with the connection's mutex held, so that no operation may use the
/// connection.
class Receiver {
 public:
  /// Queues a message for the object's task. When the queue is full, the oldest messages make room if they are
  /// `droppable`; otherwise the result is false. Raises std::bad_alloc.
  virtual bool enqueue(Message::Frame frame, const Message::Header& header, bool droppable) = 0;
  /// Counts a call that was refused, for a warning.
  virtual void countRefused() = 0;

 protected:
  ~Receiver() = default;
};

}  // namespace Quarnix::Bus::Internal
