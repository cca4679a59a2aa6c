// Started managers with a real daemon: they come back by themselves, whatever has gone, and nothing is replayed.
#include <filesystem>

#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <stack/Service.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;

constexpr const char* NAME = "com.quarnix.Application.Hevra";

class Managers : public testing::Test {
 protected:
  void serve() {
    service.reset();
    service = std::make_unique<Stack::Service>(Stack::Options{.variants = {Stack::Variant::HEVRA}, .pace = {}},
                                               Bus::Connection::open(daemon.address()));
    service->start();
  }
  void add(const Shared::Pointer<Client>& client, std::uint32_t id, std::uint32_t delay) {
    Hevra::Command command;
    command.setId(id);
    command.setDelay(delay, 0);
    manager.add(client, Group("g"), CommandContainerList{command});
  }
  /// What the observer hears until the service is up.
  Lines heardUntilUp() {
    observer.changes.awaitAny([](const std::string& change) { return change.starts_with("up"); });
    Lines kinds;
    for (const std::string& change : observer.changes.take())
      kinds.push_back(change.substr(0, change.find_first_of(": ")));
    return kinds;
  }
  /// The connections that are gone try again.
  void startDaemon(std::size_t connections) {
    clock.awaitWaiters(connections);
    daemon.start();
    clock.advance(Time::Elapsed(5, 0));
  }

  LoggedLines lines;
  Time::SimulatedClock clock;
  Harness::BusDaemon daemon{Harness::BusDaemon::Begin::STOPPED};
  const Shared::Pointer<Bus::Connection> connection = Bus::Connection::open(daemon.address());
  std::unique_ptr<Stack::Service> service;
  Proxy::Command::Manager manager{false, "app"};
  Harness::TestObserver observer{connection, {NAME}};
};

TEST_F(Managers, ComeBackByThemselvesWhateverHasGone) {
  const struct {
    const char* what;
    std::function<void()> act;
    Lines heard;
  } rows[] = {
      {"neither the bus nor the service was there",
       [this] {
         startDaemon(1);
         serve();
       },
       {"lost", "down", "connected", "up"}},
      {"the service was started again under another connection", [this] { serve(); }, {"down", "up"}},
      {"the daemon was killed and started again",
       [this] {
         daemon.kill();
         startDaemon(2);
       },
       {"lost", "down", "connected", "up"}},
      {"the socket had gone, too",
       [this] {
         daemon.kill();
         std::filesystem::remove(daemon.address().substr(std::string("unix:path=").size()));
         startDaemon(2);
       },
       {"lost", "down", "connected", "up"}},
  };
  manager.setConnection(connection);
  manager.start(false);
  observer.start();
  std::uint32_t id = 0;
  const auto delayed = Shared::make<Client>();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    row.act();
    EXPECT_EQ(heardUntilUp(), row.heard);
    const auto client = Shared::make<Client>();
    add(client, ++id, 0);
    ASSERT_TRUE(client->reports.Recorder::await(3));
    EXPECT_TRUE(client->reports.take().back().ends_with(" 3/2"));
    // One that is under way when the next thing goes: its service forgets it, its time goes on.
    const std::string key = "g_" + std::to_string(++id);
    add(delayed, id, 3600);
    ASSERT_TRUE(delayed->reports.await(key + " 6/1"));
  }
  EXPECT_EQ(delayed->reports.take().size(), 4u) << "something was replayed";
  service.reset();
  clock.advance(Time::Elapsed(3630, 0));
  for (const char* key : {"2", "4", "6", "8"})
    EXPECT_TRUE(lines.waitFor(std::string("CommandManager command timeout, matching key: g_") + key));
  EXPECT_EQ(delayed.useCount(), 1u);
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
