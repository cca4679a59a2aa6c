// How the bytes of messages leave and arrive: the one seam between a connection and its bus.
#pragma once

#include <cstddef>
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
  /// The size of a message that was discarded, because it was too large or there was no memory for it; otherwise 0. Its
  /// header has passed the check. The frame has nothing else, unless the in-process bus has handed it over.
  std::size_t discarded = 0;

  /// A field of the header; empty where the message has none.
  std::string_view text(Message::Field field) const noexcept {
    const Message::Header::Text& place = header.text(field);
    return {reinterpret_cast<const char*>(frame.data() + place.offset), place.length};
  }
};

/// A link to a bus that is up. A link that breaks stays broken; reconnecting makes a new one.
///
/// Threads: one thread at a time in `write`, one at a time in `read`; `shutdown` from any.
class Transport {
 public:
  virtual ~Transport();

  /// The descriptor to wait on, or -1 when arriving messages are pushed to the client instead of read.
  virtual int descriptor() const noexcept = 0;
  /// Writes the frames, of the first what is behind `offset`, as far as the link takes them now. How many bytes were
  /// taken: 0 when it takes none now, -1 when the link is broken.
  virtual std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept = 0;
  /// Appends the messages that are there, without waiting. False when the link is broken, `reason` says why.
  virtual bool read(std::vector<Received>& messages, std::string& reason) = 0;
  /// Whether the last read may have left something that was there already. For the thread that reads.
  virtual bool isMoreThere() const noexcept { return false; }
  /// Breaks the link: whoever waits on the descriptor wakes.
  virtual void shutdown() noexcept = 0;

  /// The name that the bus has given to this connection.
  const std::string& uniqueName() const noexcept { return uniqueName_; }

 protected:
  std::string uniqueName_;
};

}  // namespace Quarnix::Bus::Internal
