// Match rules, as the in-process bus keeps them for its connections.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <platform/bus/message/Signal.h>

namespace Quarnix::Bus::Internal {

/// Which broadcast signals a connection wants: those that agree with every key that is set.
struct MatchRule {
  /// Reads "type='signal',sender='...',path='...',interface='...',member='...',arg0='...'". Nothing when the text is no
  /// rule; `problem` says what was expected.
  static std::optional<MatchRule> parse(std::string_view text, std::string& problem);

  /// `senderOwns`: whether the signal's sender owns the rule's `sender`.
  bool matches(const Message::Signal& signal, bool senderOwns) const;

  std::string text;  // as it was given, to take it back
  bool signals = true;
  std::string sender, path, interface, member;
  std::optional<std::string> argument0;
};

}  // namespace Quarnix::Bus::Internal
