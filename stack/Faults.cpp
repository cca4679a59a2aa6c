// Matches calls and reports with rules.
#include <stack/Faults.h>

#include <algorithm>
#include <utility>

namespace Quarnix::Hevra::Stack {

Faults::Faults(const Plan& plan, std::function<void(const Time::Elapsed&)> restart) : restart_(std::move(restart)) {
  setPlan(plan);
}

void Faults::setPlan(const Plan& plan) {
  std::vector<Counted> rules;
  for (const Rule& rule : plan) {
    check(rule);
    rules.push_back({rule});
  }
  hasRules_ = !rules.empty();
  MutexLock lock(mutex_);
  rules_.swap(rules);
}

Effect Faults::next(std::string_view on, const std::string& group, std::span<const Command> commands) {
  if (!hasRules_) return {};
  const Effect* effect = nullptr;
  MutexLock lock(mutex_);
  for (auto& [rule, matches] : rules_) {
    if (rule.on != on || (rule.group && *rule.group != group)) continue;
    const std::optional<std::uint32_t>& id = rule.command;
    if (id && std::none_of(commands.begin(), commands.end(), [&](const Command& one) { return one.getId() == *id; }))
      continue;
    ++matches;
    if (!effect && matches >= rule.nth && matches - rule.nth < rule.times) effect = &rule.effect;
  }
  return effect ? *effect : Effect();
}

}  // namespace Quarnix::Hevra::Stack
