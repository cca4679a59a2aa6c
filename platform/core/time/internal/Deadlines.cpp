// Keeps which deadlines the clock sees.
#include <platform/core/time/internal/Deadlines.h>

#include <atomic>

namespace Quarnix::Time {

namespace {

class NoDeadlines final : public Deadlines {
  Monotonic earliest() noexcept override { return Monotonic::never(); }
  bool waitsOn(const ConditionVariable&) const noexcept override { return false; }
};

constinit NoDeadlines none;
constinit std::atomic<Deadlines*> installed{&none};

}  // namespace

Deadlines& Deadlines::get() noexcept { return *installed.load(); }

void Deadlines::install(Deadlines& deadlines) noexcept { installed.store(&deadlines); }

}  // namespace Quarnix::Time
