// A source that runs the application's hook.
#include <platform/core/DescriptorWatch.h>

#include <system_error>

#include <platform/core/dispatcher/internal/Source.h>
#include <platform/core/log/internal/Boundary.h>

namespace Quarnix {

class DescriptorWatch::Source final : public Loop::Source {
 public:
  explicit Source(DescriptorWatch& watch) noexcept : watch_(watch) {}

 private:
  void ready(std::uint32_t events) noexcept override {
    runAtBoundary("descriptor's watch", [&] { watch_.ready(static_cast<short>(events)); });
  }

  DescriptorWatch& watch_;
};

// The events of poll(2) and of epoll(7) have the same numbers.
DescriptorWatch::DescriptorWatch(Dispatcher& dispatcher, int descriptor, short events)
    : source_(std::make_unique<Source>(*this)) {
  if (const int error = source_->open(Loop::of(dispatcher), descriptor, static_cast<std::uint16_t>(events)))
    throw std::system_error(error, std::generic_category(), "cannot watch descriptor " + std::to_string(descriptor));
}

DescriptorWatch::~DescriptorWatch() { retire(); }

void DescriptorWatch::retire() noexcept { source_->close(); }

}  // namespace Quarnix
