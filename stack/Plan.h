// A plan that decides what happens to chosen calls and reports of the simulated stack.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <platform/core/time/Elapsed.h>
#include <platform/hevra/ErrorCode.h>

namespace Quarnix::Hevra::Stack {

/// What happens to a call or to a progress report. A call that an error or a restart affects is not carried out; every
/// other call is, whatever happens to its reply. A command continues after a report that gets lost, but ends with an
/// error or a restart.
struct Effect {
  enum class Kind { NONE, DELAY, ERROR, SILENCE, WRONG_ARGUMENTS, DUPLICATE, LATE, RESTART };

  /// The reply comes this much later; or the report does, together with those that follow it.
  static Effect delay(const Time::Elapsed& time) { return {.kind = Kind::DELAY, .time = time}; }
  /// The call is answered with this error.
  static Effect error(std::string name, std::string text) {
    return {.kind = Kind::ERROR, .name = std::move(name), .text = std::move(text)};
  }
  /// The command reports FAILED with this error and ends.
  static Effect error(ErrorCode code, std::string text) {
    return {.kind = Kind::ERROR, .text = std::move(text), .code = code};
  }
  /// The reply or the report is not sent.
  static Effect silence() { return {.kind = Kind::SILENCE}; }
  /// The reply or the report has a single byte as its arguments, which no member has.
  static Effect wrongArguments() { return {.kind = Kind::WRONG_ARGUMENTS}; }
  /// The reply or the report is sent twice.
  static Effect duplicate() { return {.kind = Kind::DUPLICATE}; }
  /// The reply is delayed by LATE_REPLY, or the report by LATE_REPORT, so that the library has given up by then.
  static Effect late() { return {.kind = Kind::LATE}; }
  /// The service's names disappear and come back after this time. Commands in flight are lost; nodes and links stay.
  static Effect restart(const Time::Elapsed& away) { return {.kind = Kind::RESTART, .time = away}; }

  static constexpr Time::Elapsed LATE_REPLY{30, 0};
  static constexpr Time::Elapsed LATE_REPORT{65, 0};

  Kind kind = Kind::NONE;
  Time::Elapsed time = {};
  std::string name = {};
  std::string text = {};
  ErrorCode code = {1, 1};
};

/// One rule of a plan. It counts every call or report that it matches, even when another rule decides about it.
struct Rule {
  static constexpr std::uint32_t ALWAYS = std::numeric_limits<std::uint32_t>::max();

  /// The member of the call, such as "add" or "getnodes", or "progress" for a report.
  std::string on;
  /// For an "add" or a report: the identifiers of the group and of a command; any when they are not set.
  std::optional<std::string> group = {};
  std::optional<std::uint32_t> command = {};
  /// The number of the first match that the rule acts on, counted from 1, and the number of matches from there on.
  std::uint32_t nth = 1;
  std::uint32_t times = ALWAYS;
  Effect effect;
};

/// The first rule that matches and acts decides.
using Plan = std::vector<Rule>;

/// Raises an error that says what is wrong with the rule: Bus::InvalidArgument for the name or the text of an error
/// that the bus cannot carry, std::invalid_argument for anything else.
void check(const Rule& rule);

}  // namespace Quarnix::Hevra::Stack
