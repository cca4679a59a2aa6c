// A link that shows every message to a trace.
#include <platform/bus/connection/Tracing.h>

#include <utility>

#include <platform/bus/message/internal/Check.h>
#include <platform/core/log/internal/Boundary.h>

namespace Quarnix::Bus::Internal {

namespace {

class TracingTransport : public Transport {
 public:
  TracingTransport(std::shared_ptr<Transport> link, Shared::Pointer<Trace> trace)
      : link_(std::move(link)), trace_(std::move(trace)) {
    uniqueName_ = link_->uniqueName();
  }

  int descriptor() const noexcept override { return link_->descriptor(); }
  bool isMoreThere() const noexcept override { return link_->isMoreThere(); }
  bool hasEarly() const noexcept override { return link_->hasEarly(); }
  std::uint64_t routed() const noexcept override { return link_->routed(); }
  void shutdown() noexcept override { link_->shutdown(); }

  std::ptrdiff_t write(const Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override {
    for (std::size_t i = 0; i < count; ++i) {
      Message::Header header;
      Message::readTrustedHeader(frames[i].data(), frames[i].size(), header);
      // A message that the link did not take comes again. A serial that is not greater was shown before.
      if (static_cast<std::int32_t>(header.serial - shown_) <= 0) continue;
      shown_ = header.serial;
      show(Trace::Direction::OUT, frames[i], header);
    }
    return link_->write(frames, count, offset);
  }

  bool read(std::vector<Received>& messages, std::string& reason) override {
    const std::size_t before = messages.size();
    const bool alive = link_->read(messages, reason);
    for (std::size_t i = before; i < messages.size(); ++i)
      if (!messages[i].discarded) show(Trace::Direction::IN, messages[i].frame, messages[i].header);
    return alive;
  }

 private:
  void show(Trace::Direction direction, const Message::Frame& frame, const Message::Header& header) noexcept {
    runAtBoundary("message trace", [&] { trace_->message(direction, Message::Any(frame, header)); });
  }

  const std::shared_ptr<Transport> link_;
  const Shared::Pointer<Trace> trace_;
  std::uint32_t shown_ = 0;  // the serial of the last outgoing message that was shown
};

}  // namespace

std::shared_ptr<Transport> traced(std::shared_ptr<Transport> link) {
  Shared::Pointer<Trace> trace = currentTrace();
  if (!trace) return link;
  return std::make_shared<TracingTransport>(std::move(link), std::move(trace));
}

}  // namespace Quarnix::Bus::Internal
