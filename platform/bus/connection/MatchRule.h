// The match rules that the in-process bus keeps for its connections.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <platform/bus/message/Signal.h>

namespace Quarnix::Bus::Internal {

/// A connection gets the broadcast signals that agree with every key of one of its rules.
struct MatchRule {
  /// Reads a rule such as "type='signal',sender='...',path='...',interface='...',member='...',arg0='...'". Returns
  /// nothing if the text is no rule; `problem` then says what was expected.
  static std::optional<MatchRule> parse(std::string_view text, std::string& problem);

  /// `senderOwns`: whether the signal's sender owns the rule's `sender`.
  bool matches(const Message::Signal& signal, bool senderOwns) const;

  std::string text;  // as it was given; RemoveMatch compares it
  bool signals = true;
  std::string sender, path, interface, member;
  std::optional<std::string> argument0;
};

}  // namespace Quarnix::Bus::Internal
