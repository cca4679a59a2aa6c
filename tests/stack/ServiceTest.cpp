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
    EXPECT_THROW(Service(options, client.connection), std::invalid_argument);
  }
}

TEST_F(StackService, CountsAndAnswersResets) {
  for (const bool answer : {true, false}) {
    stack.answerResets(answer);
    const Return reply = client.reset();
    bool answered = !answer;
    reply.begin().get(answered);
    EXPECT_EQ(answered, answer);
  }
  EXPECT_EQ(stack.resets(), 2U);
}

TEST_F(StackService, LeavesNothingWhenItCannotStart) {
  stack.service().stop();
  client.connection->requestName("com.quarnix.Application.Zuv");
  Service second({}, Bus::Connection::open("in-process"));
  EXPECT_THROW(second.start(), Bus::StartFailed);
  EXPECT_EQ(client.connection->getNameOwner("com.quarnix.Application.Hevra"), "");
  client.connection->releaseName("com.quarnix.Application.Zuv");
  second.start();
  EXPECT_FALSE(client.reset().isException());
}

TEST_F(StackService, DropsItsCommandsWhenItStops) {
  client.add(originator, "g", commands(1));
  stack.settle();
  stack.service().stop();
  EXPECT_EQ(stack.commandsInFlight(), 0U);
  EXPECT_STREQ(client.reset().getErrorName(), "org.freedesktop.DBus.Error.ServiceUnknown");
  advance(1000);
  EXPECT_EQ(originator.get("g_1"), "1/1@0");
  stack.service().start();
  client.add(originator, "h", commands(1));
  advance(1000);
  EXPECT_EQ(originator.get("h_1"), "1/1@1000 2/1@1200 3/2@1400");
}

TEST_F(StackService, AnnouncesAnExceptionForEachVariant) {
  Listener listener(client, "/com/quarnix/Application/HevraZuv/Manager/Command");
  stack.exception("radio lost");
  EXPECT_EQ(listener.take(), "Hevra.Manager.Command exception radio lost; Zuv.Manager.Command exception radio lost; ");
  EXPECT_THROW(stack.exception("\xFF"), Bus::InvalidArgument);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
