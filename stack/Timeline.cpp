// Checks the entries of a timeline.
#include <stack/Timeline.h>

#include <stdexcept>

#include <platform/bus/message/Signal.h>
#include <stack/NodeTable.h>

namespace Quarnix::Hevra::Stack {

namespace {

[[noreturn]] void refuse(const std::string& given, const std::string& expected) {
  throw std::invalid_argument(given + " given, expected " + expected);
}

struct Check {
  void operator()(const Happening::State& state) const {
    if (state.states.empty()) refuse("no state", "at least one");
  }
  void operator()(const Happening::NodeChange& change) const { NodeTable::check(change.node, change.action); }
  void operator()(const Happening::LinkChange& change) const { NodeTable::check(change.link, change.action); }
  void operator()(const Happening::Exception& exception) const {
    Bus::Message::Signal("/sample", "sample.Sample", "sample").begin().append(exception.text);
  }
  void operator()(const Happening::Restart& restart) const {
    if (restart.away < Time::Elapsed()) refuse("a time below zero", "zero or more");
  }
};

}  // namespace

void check(const Happening& happening) {
  if (happening.at < Time::Elapsed()) refuse("a time below zero", "zero or more");
  if (happening.every && *happening.every <= Time::Elapsed()) refuse("every 0", "a time above zero");
  if (happening.times == 0) refuse("times 0", "at least 1");
  if (!happening.every && happening.times != Happening::ALWAYS)
    refuse("times without every", "the time from one to the next");
  std::visit(Check(), happening.what);
}

}  // namespace Quarnix::Hevra::Stack
