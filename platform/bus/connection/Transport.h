// The link between a connection and its bus, over which the bytes of messages go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/message/Header.h>
#include <platform/bus/message/Storage.h>

namespace Quarnix::Bus::Internal {

/// A message that has arrived and passed the check.
struct Received {
  Message::Frame frame;
  Message::Header header;
  /// The size of the message if it was discarded, because it was too large or there was no memory for it; otherwise 0.
  /// The header of a discarded message has passed the check. The frame holds nothing else, unless the message came from
  /// the in-process bus.
  std::size_t discarded = 0;

  /// A field of the header; empty if the message has no such field.
  std::string_view text(Message::Field field) const noexcept {
    const Message::Header::Text& place = header.text(field);
    return {reinterpret_cast<const char*>(frame.data() + place.offset), place.length};
  }
};

/// A transport is up when it is made. One that breaks stays broken; connecting again makes a new one.
///
/// Threads: one thread at a time in `write`, one at a time in `read`; `shutdown` from any.
class Transport {
 public:
  virtual ~Transport();

  /// The descriptor to wait on; -1 if messages are pushed to the client instead of read.
  virtual int descriptor() const noexcept = 0;
  /// Writes the frames, the first one from `offset` on, as far as the link takes them now. Returns how many bytes it
  /// has taken, or -1 if the link is broken.
  virtual std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept = 0;
  /// Appends the messages that are there, without waiting. Returns false if the link is broken; `reason` says why.
  virtual bool read(std::vector<Received>& messages, std::string& reason) = 0;
  /// Whether the last read may have left something that was there already. Only the thread that reads asks.
  virtual bool isMoreThere() const noexcept { return false; }
  /// Whether it holds messages, which the next `read` returns even if the descriptor is not readable. The thread that
  /// reads asks.
  virtual bool hasEarly() const noexcept { return false; }
  /// How many messages the bus has routed from this link. Only a link that pushes knows it: what it pushes from now on
  /// is newer than those messages. Asked while it pushes, or by the thread that writes.
  virtual std::uint64_t routed() const noexcept { return 0; }
  /// Breaks the link and wakes whoever waits on the descriptor.
  virtual void shutdown() noexcept = 0;

  /// The name that the bus has given to this connection.
  const std::string& uniqueName() const noexcept { return uniqueName_; }

 protected:
  std::string uniqueName_;
};

}  // namespace Quarnix::Bus::Internal
