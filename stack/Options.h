// What a simulated stack service is made of and which faults it shows.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <platform/core/time/Elapsed.h>
#include <stack/House.h>
#include <stack/Plan.h>
#include <stack/Submission.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

/// Every rate is a probability from 0 to 1. What happens is drawn from `seed`, for each object in a sequence of its
/// own, and each draw is made whatever its rate is: the same calls in the same order meet the same faults.
struct Options {
  /// Each at most once, in any order.
  std::vector<Variant> variants = {Variant::HEVRA, Variant::ZUV};
  /// The time between two statuses of a command; zero for as fast as its originator answers.
  Time::Elapsed pace = Time::Elapsed::ofMilliseconds(200);
  std::uint64_t seed = 0;
  /// The nodes at the beginning, one an address. There are no links then.
  std::vector<AnyNode> nodes = makeHouse();

  /// Of the commands: how many are lost without any progress,
  double drop = 0;
  /// and how many end as FAILED.
  double fail = 0;
  /// Of the calls: how many are refused with an error reply and not carried out,
  double refuse = 0;
  /// and how many are carried out without a reply.
  double silent = 0;
  /// Of the progress reports: how many are sent twice.
  double duplicate = 0;

  /// What happens to chosen calls and reports whatever the rates say.
  Plan plan = {};
  /// Told of each "add" that can be read, before anything happens to it; on the command manager's task.
  std::function<void(const Submission& submission)> submitted = {};
};

}  // namespace Quarnix::Hevra::Stack
