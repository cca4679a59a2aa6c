// What happens to the simulated stack by itself, and how fast its time passes.
#include <stdexcept>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using StackTimeline = StackTest;

constexpr Time::Elapsed SECOND{1, 0};
constexpr std::uint32_t THERMOMETER = 0x2001, GATEWAY = 0x1000;
const std::string MODIFIED = "modified sensor 8193 by 1", LINKED = "linked sensor 8193 hall by 0";

NodeLink hall(std::uint32_t node = THERMOMETER) {
  NodeLink link;
  link.setNodeAddress(node);
  link.setStackAddress(GATEWAY);
  link.setLinkId("hall");
  return link;
}

TEST_F(StackTimeline, HappensAtItsTimesOnceOrAgainAndAgain) {
  RemoteControllerNode controller;
  controller.setAddress(7);
  controller.setNodeClass(NodeClass::CONTROLLER);
  stack.timeline({{.every = SECOND, .what = Happening::State{THERMOMETER, {20, 21}}},
                  {.at = SECOND, .what = Happening::LinkChange{hall(), NodeAction::ADDED}},
                  {.at = SECOND, .what = Happening::LinkChange{hall(9), NodeAction::ADDED}},
                  {.at = SECOND, .every = SECOND, .times = 2, .what = Happening::Exception{"radio lost"}},
                  {.at = SECOND, .what = Happening::NodeChange{controller, NodeAction::ADDED}},
                  {.at = {3, 0}, .what = Happening::Restart{SECOND}}});
  stack.settle();
  EXPECT_EQ(watcher.notifications.take(), Lines{MODIFIED});
  EXPECT_EQ(stack.stateOf(THERMOMETER), 20U);
  advance(999);
  EXPECT_EQ(hevra.exceptions.take(), Lines{});
  advance(1);
  EXPECT_EQ(watcher.notifications.take(), (Lines{LINKED, "modified controller 7 by 0", MODIFIED}));
  EXPECT_EQ(stack.stateOf(THERMOMETER), 21U);
  EXPECT_EQ(lines.take(), Lines{"hevra-stackd> timeline: the node 0x9 is not there, or has such a link already"});
  advance(1999);
  EXPECT_EQ(hevra.exceptions.take(), (Lines{"radio lost", "radio lost"}));
  EXPECT_EQ(reset(), "true");
  advance(1);
  EXPECT_EQ(reset(), "org.freedesktop.DBus.Error.ServiceUnknown");
  advance(1000);
  EXPECT_EQ(reset(), "true");
  EXPECT_EQ(stack.stateOf(THERMOMETER), 20U);

  // Another timeline begins anew, and a service that ends takes its own along.
  stack.timeline({{.at = SECOND, .every = SECOND, .what = Happening::Exception{"again"}}});
  advance(1500);
  stack.service().stop();
  stack.service().start();
  advance(10'000);
  EXPECT_EQ(hevra.exceptions.take(), Lines{"again"});
  EXPECT_EQ(stack.stateOf(THERMOMETER), 20U);
}

TEST_F(StackTimeline, PassesAsFastAsItIsTold) {
  stack.serve(
      {.plan = {{.on = "progress", .nth = 2, .times = 1, .effect = Effect::restart(Time::Elapsed(100, 0))}},
       .timeline = {{.at = {3600, 0}, .every = Time::Elapsed(3600, 0), .what = Happening::Exception{"an hour"}}},
       .timeScale = 100});
  std::vector<Command> delayed = commands(1);
  delayed[0].setDelay(100, 0);
  const auto client = add("g", delayed);
  advance(1999);
  EXPECT_EQ(client->reports["g_1"], "6/1@0");
  EXPECT_EQ(reset(), "org.freedesktop.DBus.Error.ServiceUnknown");
  advance(1);
  EXPECT_EQ(reset(), "true");
  advance(70'000);
  EXPECT_EQ(hevra.exceptions.take(), (Lines{"an hour", "an hour"}));
}

TEST_F(StackTimeline, RefusesWhatCannotHappen) {
  RemoteControllerNode sensor;
  sensor.setNodeClass(NodeClass::SENSOR);
  const Happening rows[] = {
      {.every = Time::Elapsed(), .what = Happening::Exception{""}},
      {.every = SECOND, .times = 0, .what = Happening::Exception{""}},
      {.what = Happening::NodeChange{sensor, NodeAction::ADDED}},
      {.what = Happening::Restart{{-1, 0}}},
  };
  for (const Happening& row : rows) EXPECT_THROW(stack.timeline({row}), std::invalid_argument);
  EXPECT_THROW(stack.timeline({{.what = Happening::Exception{"\xFF"}}}), Bus::InvalidArgument);
  for (const double scale : {0.0, -1.0, 2e6})
    EXPECT_THROW(Service({.timeScale = scale}, board.getConnection()), std::invalid_argument);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
