// How an observer hears, once, of each command's end.
#include <future>

#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using Command::Outcome;

constexpr const char* SERVICE = "com.quarnix.Application.Hevra";

/// Keeps "g_1 FINISHED 3", with the reason behind REFUSED.
class Ends : public Command::OutcomeObserver {
 public:
  void ended(const Group& group, std::uint32_t id, const Outcome& outcome) override {
    static constexpr const char* KINDS[] = {"FINISHED ", "TIMED_OUT", "REFUSED ", "SERVICE_LOST", "ABANDONED"};
    std::string text = group.getId() + "_" + std::to_string(id) + " " + KINDS[static_cast<std::size_t>(outcome.kind)];
    if (outcome.kind == Outcome::Kind::FINISHED) text += std::to_string(static_cast<unsigned>(outcome.status));
    if (outcome.kind == Outcome::Kind::REFUSED) text += outcome.reason;
    heard.add(std::move(text));
    throw std::runtime_error("which keeps nobody from hearing of the next");
  }
  Texts heard;
};

class OutcomeTest : public testing::Test {
 protected:
  OutcomeTest() {
    manager->setConnection(Bus::Connection::open("in-process"));
    manager->start(true);
  }

  void add(std::initializer_list<std::uint32_t> ids, const Shared::Pointer<Client>& client = Shared::make<Client>()) {
    CommandContainerList list;
    for (const std::uint32_t id : ids) list.append(commandOf(id, 0));
    manager->submit(client, Group("g"), list, ends);
  }
  static Hevra::Command commandOf(std::uint32_t id, std::uint32_t status) {
    Hevra::Command command;
    command.setId(id);
    command.setStatus(static_cast<HvDetailedCommandStatus>(status));
    return command;
  }
  void report(std::uint32_t id, std::uint32_t status) {
    Call call;
    call.setDestination(manager->getConnection()->getUniqueName());
    call.setPath("/com/quarnix/Application/app/Hevra/Originator");
    call.setInterface("com.quarnix.Application.HevraZuv.Originator.Command");
    call.setMember("progress");
    Call complete = reportOf(std::move(call), commandOf(id, status));
    stack.getConnection()->call(complete);
  }
  Lines heard() {
    clock.settle();
    return ends->heard.take();
  }
  void advance(std::int64_t seconds) { clock.advance(Time::Elapsed(seconds, 0)); }

  LoggedLines lines;
  Time::SimulatedClock clock;
  StackObject stack{SERVICE, "/com/quarnix/Application/HevraZuv/Manager/Command"};
  std::unique_ptr<Command::Manager> manager = std::make_unique<Command::Manager>(false, "app");
  Shared::Pointer<Ends> ends = Shared::make<Ends>();
};

TEST_F(OutcomeTest, IsTheFirstOfWhatEndsACommand) {
  add({1, 2, 3});
  report(1, 2);
  report(1, 3);
  report(1, 3);
  report(2, 4);
  EXPECT_EQ(heard(), (Lines{"g_1 FINISHED 3", "g_2 FINISHED 4"}));
  advance(60);
  EXPECT_EQ(heard(), Lines{"g_3 TIMED_OUT"});
  report(3, 3);

  add({1});
  stack.answer = [](const Call& call) { return Return(call, "com.example.Busy", "not now"); };
  EXPECT_THROW(add({1, 2}), Return);
  EXPECT_EQ(heard(), (Lines{"g_2 REFUSED com.example.Busy: not now", "g_1 REFUSED com.example.Busy: not now"}));
  report(2, 3);
  stack.answer = [](const Call& call) { return Return(call); };

  stack.getConnection()->releaseName(SERVICE);
  EXPECT_EQ(heard(), Lines{"g_1 SERVICE_LOST"});
  stack.getConnection()->requestName(SERVICE);
  report(1, 3);
  add({4});
  EXPECT_EQ(heard(), Lines());
  manager.reset();
  EXPECT_EQ(heard(), Lines{"g_4 ABANDONED"});
}

TEST_F(OutcomeTest, OfACommandWhoseCallGotNoAnswerIsStillToCome) {
  stack.answer = nullptr;
  auto adding = std::async(std::launch::async, [this] { add({1, 2}); });
  clock.awaitWaiters(1);
  advance(25);
  EXPECT_THROW(adding.get(), Return);
  report(1, 3);
  EXPECT_EQ(heard(), Lines{"g_1 FINISHED 3"});
  stack.getConnection()->releaseName(SERVICE);
  EXPECT_EQ(heard(), Lines{"g_2 SERVICE_LOST"});
}

TEST_F(OutcomeTest, IsToldForEachTimeThatAKeyWasSubmitted) {
  const auto client = Shared::make<Client>([this, again = true]() mutable {
    if (std::exchange(again, false)) add({1});
  });
  add({1}, client);
  add({1});
  report(1, 3);
  EXPECT_EQ(heard(), (Lines{"g_1 FINISHED 3", "g_1 FINISHED 3"}));
  advance(60);
  EXPECT_EQ(heard(), Lines{"g_1 TIMED_OUT"});
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
