// Parses and applies match rules.
#include <platform/bus/connection/MatchRule.h>

namespace Quarnix::Bus::Internal {

std::optional<MatchRule> MatchRule::parse(std::string_view text, std::string& problem) {
  MatchRule rule;
  rule.text = text;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t equals = rest.find("='");
    const std::size_t close = equals == std::string_view::npos ? equals : rest.find('\'', equals + 2);
    if (close == std::string_view::npos) {
      problem = "expected KEY='VALUE' at \"" + std::string(rest) + '"';
      return std::nullopt;
    }
    const std::string_view key = rest.substr(0, equals);
    const std::string value(rest.substr(equals + 2, close - equals - 2));
    rest.remove_prefix(close + 1);
    if (rest.starts_with(',')) rest.remove_prefix(1);
    if (key == "type") {
      rule.signals = value == "signal";
    } else if (key == "sender") {
      rule.sender = value;
    } else if (key == "path") {
      rule.path = value;
    } else if (key == "interface") {
      rule.interface = value;
    } else if (key == "member") {
      rule.member = value;
    } else if (key == "arg0") {
      rule.argument0 = value;
    } else {
      problem = "expected type, sender, path, interface, member or arg0 instead of \"" + std::string(key) + '"';
      return std::nullopt;
    }
  }
  return rule;
}

bool MatchRule::matches(const Message::Signal& signal, bool senderOwns) const {
  if (!signals || !senderOwns) return false;
  if (!path.empty() && path != signal.getPath()) return false;
  if (!interface.empty() && interface != signal.getInterface()) return false;
  if (!member.empty() && member != signal.getMember()) return false;
  if (!argument0) return true;
  const Message::ConstIterator first = signal.begin();
  return first.type() == 's' && first.getText() == *argument0;
}

}  // namespace Quarnix::Bus::Internal
