// A timeline says what happens to the simulated stack by itself, and when.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <platform/core/time/Elapsed.h>
#include <platform/hevra/NodeAction.h>
#include <platform/hevra/NodeLink.h>
#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Stack {

/// Happens once, or again and again.
struct Happening {
  static constexpr std::uint32_t ALWAYS = std::numeric_limits<std::uint32_t>::max();

  /// The node gets this state. When it happens again, the node gets the next one; the first one follows the last.
  struct State {
    std::uint32_t address;
    std::vector<std::uint8_t> states;
  };
  /// See NodeTable::modify. Of a node that is removed, only the address counts.
  struct NodeChange {
    AnyNode node;
    NodeAction action;
  };
  struct LinkChange {
    NodeLink link;
    NodeAction action;
  };
  /// The service announces an exception with this text.
  struct Exception {
    std::string text;
  };
  /// The service's names disappear and come back after this time. Commands in flight are lost; nodes and links stay.
  struct Restart {
    Time::Elapsed away;
  };

  /// The time from the start of the timeline. Entries that happen for the first time at the same time do so in the
  /// order of the timeline.
  Time::Elapsed at = {};
  /// The time from one occurrence to the next, above zero; not set for something that happens once.
  std::optional<Time::Elapsed> every = {};
  /// How often it happens in all, if it happens again.
  std::uint32_t times = ALWAYS;
  std::variant<State, NodeChange, LinkChange, Exception, Restart> what;
};

using Timeline = std::vector<Happening>;

/// Raises an error that says what is wrong with the entry: Bus::InvalidArgument for a text that the bus cannot carry,
/// std::invalid_argument for anything else.
void check(const Happening& happening);

}  // namespace Quarnix::Hevra::Stack
