// The options of a simulated stack service: what it has, and how often it fails.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <platform/core/time/Elapsed.h>
#include <stack/House.h>
#include <stack/Plan.h>
#include <stack/Submission.h>
#include <stack/Timeline.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

/// Every rate is a probability from 0 to 1. Each object draws from a sequence of its own, which depends on `seed`. It
/// makes each draw whatever the rate is, so that the same calls in the same order always get the same faults.
struct Options {
  /// The variants that are served, each at most once and in any order.
  std::vector<Variant> variants = {Variant::HEVRA, Variant::ZUV};
  /// The time between two statuses of a command. With zero, only the originator's answers take time.
  Time::Elapsed pace = Time::Elapsed::ofMilliseconds(200);
  std::uint64_t seed = 0;
  /// The nodes at the beginning, each with an address of its own. At the beginning there are no links.
  std::vector<AnyNode> nodes = makeHouse();

  /// The rate of commands that get lost without any progress.
  double drop = 0;
  /// The rate of commands that end as FAILED.
  double fail = 0;
  /// The rate of calls that are refused with an error reply and not carried out.
  double refuse = 0;
  /// The rate of calls that are carried out without a reply.
  double silent = 0;
  /// The rate of progress reports that are sent twice.
  double duplicate = 0;

  /// What happens to chosen calls and reports, whatever the rates say.
  Plan plan = {};
  /// What happens by itself, from the start of the service on.
  Timeline timeline = {};
  /// How many times as fast as the process's clock the simulated time passes, from 0.001 to 1,000,000: the pace, the
  /// delays of commands, and the times of the plan and of the timeline. Effect::late stays as it is, because it is
  /// about the time-outs of others.
  double timeScale = 1;
  /// Called for each "add" that can be read, before anything is done with it; on the command manager's task.
  std::function<void(const Submission& submission)> submitted = {};
};

}  // namespace Quarnix::Hevra::Stack
