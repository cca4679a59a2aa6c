// What is to happen to chosen calls and reports of the simulated stack: a plan, written down before it runs.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <platform/core/time/Elapsed.h>
#include <platform/hevra/ErrorCode.h>

namespace Quarnix::Hevra::Stack {

/// What happens to a call or to a progress report. A call that is refused with an error, or met by a restart, is not
/// carried out; every other one is, whatever becomes of its reply. A report that is not heard does not stop its
/// command, but for an error, which is its end, and a restart.
struct Effect {
  enum class Kind { NONE, DELAY, ERROR, SILENCE, WRONG_ARGUMENTS, DUPLICATE, LATE, RESTART };

  /// The reply, or the report and those behind it, comes so much later.
  static Effect delay(const Time::Elapsed& time) { return {.kind = Kind::DELAY, .time = time}; }
  /// The call gets this error.
  static Effect error(std::string name, std::string text) {
    return {.kind = Kind::ERROR, .name = std::move(name), .text = std::move(text)};
  }
  /// The command reports FAILED with this error, and nothing more.
  static Effect error(ErrorCode code, std::string text) {
    return {.kind = Kind::ERROR, .text = std::move(text), .code = code};
  }
  /// No reply; no report.
  static Effect silence() { return {.kind = Kind::SILENCE}; }
  /// The reply or the report has one byte for its arguments, which is right for none.
  static Effect wrongArguments() { return {.kind = Kind::WRONG_ARGUMENTS}; }
  /// The reply or the report comes twice.
  static Effect duplicate() { return {.kind = Kind::DUPLICATE}; }
  /// The reply comes after LATE_REPLY, the report LATE_REPORT later than it should: when the library has given up.
  static Effect late() { return {.kind = Kind::LATE}; }
  /// The service's names go, and come back after that time. The commands in flight are lost; nodes and links stay.
  static Effect restart(const Time::Elapsed& away) { return {.kind = Kind::RESTART, .time = away}; }

  static constexpr Time::Elapsed LATE_REPLY{30, 0};
  static constexpr Time::Elapsed LATE_REPORT{65, 0};

  Kind kind = Kind::NONE;
  Time::Elapsed time = {};
  std::string name = {};
  std::string text = {};
  ErrorCode code = {1, 1};
};

/// One line of a plan. It counts all that it fits, whatever other rules do with it.
struct Rule {
  static constexpr std::uint32_t ALWAYS = std::numeric_limits<std::uint32_t>::max();

  /// The member of the call, such as "add" or "getnodes", or "progress" for a report.
  std::string on;
  /// Of an "add" or a report: the group's identifier, and a command's.
  std::optional<std::string> group = {};
  std::optional<std::uint32_t> command = {};
  /// The first of those that fit that it acts on, counted from 1, and on how many from there.
  std::uint32_t nth = 1;
  std::uint32_t times = ALWAYS;
  Effect effect;
};

/// The first rule that fits and acts decides.
using Plan = std::vector<Rule>;

/// Raises std::invalid_argument, or Bus::InvalidArgument for an error's name or text that the bus does not carry, and
/// says what is wrong with the rule.
void check(const Rule& rule);

}  // namespace Quarnix::Hevra::Stack
