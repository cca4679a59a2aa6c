// Checks rules.
#include <stack/Plan.h>

#include <algorithm>
#include <stdexcept>

#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Hevra::Stack {

namespace {

constexpr const char* SUBJECTS[] = {"progress",  "add",        "cancel",     "hardreset",
                                    "getnodes",  "modify",     "modifyLink", "removeChildrenNodes",
                                    "changekey", "getNodeLink"};

}  // namespace

void check(const Rule& rule) {
  const auto refuse = [](const std::string& given, const std::string& expected) {
    throw std::invalid_argument(given + " given, expected " + expected);
  };
  if (std::find(std::begin(SUBJECTS), std::end(SUBJECTS), rule.on) == std::end(SUBJECTS)) {
    std::string expected = "one of";
    for (const char* subject : SUBJECTS) expected += std::string(" ") + subject;
    refuse("a rule for '" + rule.on + "'", expected);
  }
  const bool isReport = rule.on == "progress";
  if ((rule.group || rule.command) && !isReport && rule.on != "add")
    refuse("a group or a command for '" + rule.on + "'", "them for add and progress only");
  if (rule.nth == 0) refuse("nth 0", "1 for the first");
  if (rule.times == 0) refuse("times 0", "at least 1");
  const Effect& effect = rule.effect;
  if (effect.time < Time::Elapsed()) refuse("a time below zero", "zero or more");
  if (effect.kind != Effect::Kind::ERROR) return;
  if (isReport != effect.name.empty())
    refuse(isReport ? "an error's name for progress" : "an error without a name for '" + rule.on + "'",
           isReport ? "a code" : "one such as org.freedesktop.DBus.Error.Failed");
  // This raises an error for a name or a text that cannot be sent.
  using namespace Bus::Message::Method;
  const Return sample(Call(), isReport ? "org.freedesktop.DBus.Error.Failed" : effect.name.c_str(), effect.text);
}

}  // namespace Quarnix::Hevra::Stack
