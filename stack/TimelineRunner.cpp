// Keeps one entry of the agenda for each entry of the timeline.
#include <stack/TimelineRunner.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>
#include <stack/Service.h>

namespace Quarnix::Hevra::Stack {

struct TimelineRunner::Run {
  const Happening happening;
  const Time::Monotonic first;
  const std::uint32_t generation;
  std::uint32_t count = 0;  // of the occurrences so far
};

namespace {

/// Makes one thing happen, for the `count`th time from 0.
struct Act {
  void operator()(const Happening::State& state) const {
    const bool isDone = service.getNodes().setState(state.address, state.states[count % state.states.size()]);
    require(isDone, state.address, "is not there");
  }
  void operator()(const Happening::NodeChange& change) const {
    require(service.getNodes().modify(change.node, change.action), headOf(change.node).getAddress(),
            change.action == NodeAction::ADDED ? "is there already" : "is not there");
  }
  void operator()(const Happening::LinkChange& change) const {
    require(service.getNodes().modify(change.link, change.action), change.link.getNodeAddress(),
            change.action == NodeAction::ADDED ? "is not there, or has such a link already" : "has no such link");
  }
  void operator()(const Happening::Exception& exception) const { service.announceException(exception.text); }
  void operator()(const Happening::Restart& restart) const { service.restart(restart.away); }

  static void require(bool isDone, std::uint32_t address, const char* problem) {
    if (!isDone)
      Log::printQuietly(Log::Priority::WARNING, "hevra-stackd> timeline: the node 0x%lx %s",
                        static_cast<unsigned long>(address), problem);
  }

  Service& service;
  std::uint32_t count;
};

}  // namespace

void TimelineRunner::begin(const Timeline& timeline) {
  end();
  MutexLock lock(mutex_);
  const std::uint32_t generation = ++generation_;
  const Time::Monotonic now = Time::Clock::get().now();
  for (const Happening& happening : timeline)
    happenAfter(happening.at, std::make_shared<Run>(Run{happening, now + happening.at, generation}));
}

void TimelineRunner::end() {
  {
    MutexLock lock(mutex_);
    ++generation_;  // first, so that what happens meanwhile does not happen again
  }
  agenda_.clear();
}

void TimelineRunner::happenAfter(const Time::Elapsed& span, const std::shared_ptr<Run>& run) {
  agenda_.after(span, [this, run] { happen(run); });
}

void TimelineRunner::happen(const std::shared_ptr<Run>& run) {
  {
    MutexLock lock(mutex_);
    if (run->generation != generation_) return;
  }
  const std::uint32_t count = run->count++;
  const Happening& happening = run->happening;
  // First, because what happens may raise an error.
  if (happening.every && (happening.times == Happening::ALWAYS || run->count < happening.times)) {
    const std::int64_t period = happening.every->getNanoseconds();
    const std::int64_t passed = (Time::Clock::get().now() - run->first).getNanoseconds();
    happenAfter(Time::Elapsed::ofNanoseconds(period - passed % period), run);
  }
  std::visit(Act{service_, count}, happening.what);
}

}  // namespace Quarnix::Hevra::Stack
