// Starting and stopping the simulated stack, and what an application does with one that it embeds.
#include <cmath>
#include <stdexcept>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using StackService = StackTest;

TEST_F(StackService, RefusesWrongOptions) {
  const std::function<void(Options&)> rows[] = {
      [](Options& options) { options.drop = -0.1; },
      [](Options& options) { options.duplicate = 1.01; },
      [](Options& options) { options.silent = std::nan(""); },
      [](Options& options) { options.pace = Time::Elapsed(0, -1); },
      [](Options& options) { options.variants = {}; },
      [](Options& options) { options.plan = {{.on = "dance", .effect = {}}}; },
      [](Options& options) { options.plan = {{.on = "cancel", .group = "g", .effect = {}}}; },
      [](Options& options) { options.plan = {{.on = "add", .effect = Effect::error(ErrorCode(), "no")}}; },
      [](Options& options) { options.variants.push_back(Variant::ZUV); },
  };
  for (const auto& spoil : rows) {
    Options options;
    spoil(options);
    EXPECT_THROW(Service(options, board.getConnection()), std::invalid_argument);
  }
}

TEST_F(StackService, CountsAndAnswersResets) {
  EXPECT_EQ(reset(), "true");
  stack.answerResets(false);
  EXPECT_EQ(reset(), "false");
  EXPECT_EQ(stack.resets(), 2U);
}

TEST_F(StackService, LeavesNothingWhenItCannotStart) {
  const auto connection = Bus::Connection::open("in-process");
  stack.service().stop();
  connection->requestName("com.quarnix.Application.Zuv");
  Service second({}, Bus::Connection::open("in-process"));
  EXPECT_THROW(second.start(), Bus::StartFailed);
  EXPECT_EQ(connection->getNameOwner("com.quarnix.Application.Hevra"), "");
  connection->releaseName("com.quarnix.Application.Zuv");
  second.start();
  EXPECT_EQ(reset(), "true");
}

TEST_F(StackService, DropsItsCommandsWhenItGoesAndComesBack) {
  const std::pair<std::function<void()>, std::function<void()>> rows[] = {
      {[this] { stack.restart(std::chrono::seconds(1)); }, [] {}},
      {[this] { stack.service().stop(); }, [this] { stack.service().start(); }}};
  for (const auto& [go, comeBack] : rows) {
    const auto client = add("g", commands(1));
    stack.settle();
    go();
    EXPECT_EQ(stack.commandsInFlight(), 0U);
    EXPECT_EQ(reset(), "org.freedesktop.DBus.Error.ServiceUnknown");
    advance(1000);
    EXPECT_EQ(client->reports["g_1"], "1/1@0");
    comeBack();
    const auto next = add("h", commands(1));
    advance(100'000);
    EXPECT_EQ(next->reports["h_1"], "1/1@0 2/1@200 3/2@400");
  }
}

TEST_F(StackService, AnnouncesAnExceptionForEachVariant) {
  stack.exception("radio lost");
  EXPECT_EQ(hevra.exceptions.take(), Lines{"radio lost"});
  EXPECT_EQ(zuv.exceptions.take(), Lines{"radio lost"});
  EXPECT_THROW(stack.exception("\xFF"), Bus::InvalidArgument);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
