// Running out of memory at each allocation of an operation in turn, once and for good: the caller learns of it or has
// what was asked for, what was used works again once there is memory, and nothing is lost for ever.
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/core/time/SimulatedClock.h>
#include <platform/core/timer/Monotonic.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <tests/memory/FailingAllocation.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Hevra::Command;
using Hevra::Proxy::CommandContainerList;
constexpr const char* SERVICE = "com.quarnix.Application.Hevra";
constexpr const char* MANAGER = "/com/quarnix/Application/HevraZuv/Manager/Command";

class Listener : public Hevra::Interface::Command::Originator {
 public:
  void progress(const Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override { heard.open(); }
  Gate heard;
};

CommandContainerList commands() {
  Command command;
  command.setId(1);
  command.setLabel("a label that is too long for a string to hold within itself");
  command.setValue(Shared::make<Hevra::HvString>("and a value that is"));
  return {command, command};
}

/// A service and a client that has used nothing yet.
struct World {
  explicit World(const std::string& where)
      : service(Connection::open(where)), client(Connection::open(where)), server(service, answer, MANAGER) {
    TestServer::serve(server, SERVICE);
    proxy = std::make_unique<TestProxy>(client, SERVICE, TestProxy::Hook(), MANAGER);
    manager = std::make_unique<Hevra::Proxy::Command::Manager>(false, "app");
    manager->setConnection(client);
  }
  static bool answer(TestServer& self, const Call& call) {
    // What is not for it comes to the caller before the answer does.
    Signal signal = signalOf("Rang", "before the answer", MANAGER);
    self.send(signal);
    return TestServer::echo(self, call);
  }
  bool ask() { return proxy->ask("Echo", "a text that is too long for a string to hold within itself").size() == 58; }
  void add() {
    list.reset();
    manager->add(originator, Hevra::Group("a group of commands"), list);
  }

  /// With memory again, everything goes.
  void check() {
    EXPECT_TRUE(ask());
    proxy->start(true);
    const std::size_t before = proxy->signals.count();
    EXPECT_TRUE(ask());
    EXPECT_TRUE(proxy->signals.await(before + 1));
    manager->start(true);
    add();
    report();
    EXPECT_TRUE(listener->heard.await());
  }
  void report() {
    Call call;
    call.setDestination(client->getUniqueName());
    call.setPath("/com/quarnix/Application/app/Hevra/Originator");
    call.setInterface("com.quarnix.Application.HevraZuv.Originator.Command");
    call.setMember("progress");
    Bus::Message::Iterator arguments = call.begin();
    Bus::Message::Iterator record = arguments.begin(Bus::Message::STRUCTURE);
    list.reset();
    list.next();
    Bus::Type::Wrapper<Command>().serialize(record, list.get());
    arguments.end(record);
    Bus::Message::Iterator group = arguments.begin(Bus::Message::STRUCTURE);
    group.append("a group of commands");
    arguments.end(group);
    arguments.append(2);
    service->call(call);
  }

  Shared::Pointer<Connection> service, client;
  TestServer server;
  std::unique_ptr<TestProxy> proxy;
  std::unique_ptr<Hevra::Proxy::Command::Manager> manager;
  Shared::Pointer<Listener> listener = Shared::make<Listener>();
  Shared::Pointer<Hevra::Interface::Command::Originator> originator = listener;
  CommandContainerList list = commands();
};

struct Operation {
  const char* name;
  std::function<void(World&)> prepare;
  std::function<bool(World&)> run;  // false, or an exception: the caller was told that it failed
};

void none(World&) {}

const Operation OPERATIONS[] = {
    {"build", none,
     [](World& world) {
       Call call = callTo("Add", "text");
       Bus::Message::Iterator arguments = call.begin();
       world.list.reset();
       try {
         arguments.append(std::uint8_t{1}, std::uint8_t{2});
         for (const char* contents : {"y", "(utbuviiyisusuyyutbuviiyisusuyyutbuviiyisusuyy)"}) {
           Bus::Message::Iterator array = arguments.begin(Bus::Message::ARRAY, contents);
           arguments.end(array);
         }
         Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(arguments, world.list);
       } catch (const std::bad_alloc&) {
         EXPECT_ANY_THROW(call.seal(1, {MANAGER, SERVICE, {}})) << "half written";
         throw;
       }
       call.seal(1, {MANAGER, SERVICE, {}});
       return true;
     }},
    {"first call", none, [](World& world) { return world.ask(); }},
    {"call", [](World& world) { world.ask(); }, [](World& world) { return world.ask(); }},
    {"call while started", [](World& world) { world.proxy->start(true); }, [](World& world) { return world.ask(); }},
    {"signal", none,
     [](World& world) {
       Signal signal = signalOf("Rang", "text", MANAGER);
       world.server.send(signal);
       return true;
     }},
    {"start", none,
     [](World& world) {
       world.manager->start(true);
       return true;
     }},
    {"stop", [](World& world) { world.manager->start(true); },
     [](World& world) {
       world.manager->stop();
       return true;
     }},
    {"submit", [](World& world) { world.manager->start(true); },
     [](World& world) {
       world.add();
       return true;
     }},
    {"name", none,
     [](World& world) {
       world.client->requestName("com.example.Another");
       world.client->releaseName("com.example.Another");
       return true;
     }},
    {"end of a proxy", [](World& world) { world.proxy->start(true); },
     [](World& world) {
       world.proxy = std::make_unique<TestProxy>(world.client, SERVICE, TestProxy::Hook(), MANAGER);
       return true;
     }},
};

/// Keeps nothing.
class Silent : public Log::Logger {
  void write(Log::Priority, const char*) override {}
};

class Memory : public testing::TestWithParam<Kind> {
 protected:
  Memory() : daemon_(GetParam() == Kind::DAEMON ? std::make_unique<BusDaemon>() : nullptr) {
    Log::Logger::set(Shared::make<Silent>());
  }
  std::string where() const { return daemon_ ? daemon_->address() : "in-process"; }

  /// Fails allocations of the operation one after the other until it needs no more.
  void fail(const Operation& operation, bool lasting, FailingAllocation::Where where) {
    std::size_t blocks = 0;
    bool happened = true;
    for (unsigned number = 0; happened; ++number) {
      SCOPED_TRACE(std::string(operation.name) + ", allocation " + std::to_string(number));
      bool done = false;
      {
        World world(this->where());
        operation.prepare(world);
        {
          const FailingAllocation failing(number, lasting, where);
          try {
            done = operation.run(world);
          } catch (const std::exception&) {
          }
          happened = failing.happened() || number == 0;
        }
        world.check();
      }
      if (!happened) {
        EXPECT_TRUE(done);
      }
      // The first round, in which nothing fails, makes what is made once in the process.
      if (number == 1) blocks = FailingAllocation::blocks();
      while (number > 1 && FailingAllocation::blocks() > blocks) std::this_thread::yield();
      ASSERT_LT(number, 10'000u);
    }
  }

 private:
  std::unique_ptr<BusDaemon> daemon_;
};

TEST_P(Memory, MayFailAtAnyAllocation) {
  for (const Operation& operation : OPERATIONS)
    for (const bool lasting : {false, true}) fail(operation, lasting, FailingAllocation::Where::HERE);
}

// The key could not be queued, or the outcome not be written: the command stayed for ever, and nobody was told.
TEST(MemoryAtAnExpiry, IsNotNeeded) {
  struct Ends : Hevra::Proxy::Command::OutcomeObserver {
    void ended(const Hevra::Group&, std::uint32_t, const Hevra::Proxy::Command::Outcome&) override { ++count; }
    std::atomic<int> count{0};
  };
  Log::Logger::set(Shared::make<Silent>());
  Time::SimulatedClock clock;
  World world("in-process");
  const auto ends = Shared::make<Ends>();
  int submitted = 0;
  for (const bool lasting : {false, true}) {
    bool happened = true;
    for (unsigned number = 1; happened; ++number) {
      world.manager->submit(world.originator, Hevra::Group("a group of commands"), world.list, ends);
      submitted += 2;
      {
        const FailingAllocation failing(number, lasting, FailingAllocation::Where::ELSEWHERE);
        clock.advance(Time::Elapsed(60, 0));
        happened = failing.happened();
      }
      ASSERT_EQ(ends->count, submitted) << "allocation " << number;
      ASSERT_EQ(world.originator.useCount(), 2u);
    }
  }
}

// The timers' thread ended the process when it came to wait.
TEST(MemoryOfAWait, IsNotNeeded) {
  Time::SimulatedClock clock;
  const Time::Monotonic deadline = clock.now() + Time::Elapsed(1, 0);
  std::thread waiting([&] {
    const FailingAllocation failing(1, true);
    Mutex mutex;
    ConditionVariable never;
    MutexLock lock(mutex);
    while (clock.wait(never, mutex, deadline)) {
    }
  });
  clock.awaitWaiters(1);
  clock.advance(Time::Elapsed(1, 0));
  waiting.join();
}

// A report stops the timer of its command, and could not start it again.
TEST(MemoryOfATimer, IsNotNeededToStartAgain) {
  struct Idle : Timer::Monotonic {
    Idle() : Monotonic(Time::Monotonic(Time::Elapsed(3600, 0)), true) {}
    ~Idle() override { retire(); }
    void expired(const Time::Monotonic&) override {}
  };
  Idle timer, others[40];
  timer.start();
  for (Idle& other : others) {
    timer.stop();
    other.start();
    const FailingAllocation failing(1, true);
    EXPECT_NO_THROW(timer.start());
  }
}

// A message that could not be stored ended the link.
TEST_P(Memory, ThatIsShortForAMessageCostsNoLink) {
  World world(where());
  EXPECT_TRUE(world.ask());
  const std::string name = world.client->getUniqueName();
  bool happened = true;
  for (unsigned number = 1; happened; ++number) {
    {
      const FailingAllocation failing(number, false);
      try {
        world.ask();
      } catch (const std::bad_alloc&) {
      }
      happened = failing.happened();
    }
    EXPECT_EQ(world.client->getUniqueName(), name) << "allocation " << number;
  }
}

// Each name took memory until the connection went.
TEST_P(Memory, IsNotKeptForNamesThatNobodyUses) {
  const auto connection = Connection::open(where());
  std::size_t before = 0;
  for (int number = 0; number < 110; ++number) {
    EXPECT_EQ(TestProxy(connection, "com.example.Nobody" + std::to_string(number)).ask("Echo"),
              error("ServiceUnknown"));
    connection->getNameOwner(SERVICE);
    if (number == 9) before = FailingAllocation::blocks();
  }
  EXPECT_LT(FailingAllocation::blocks(), before + 10);
}

INSTANTIATE_TEST_SUITE_P(Bus, Memory, testing::Values(Kind::DAEMON), testing::PrintToStringParamName());

}  // namespace
}  // namespace Quarnix::Test
