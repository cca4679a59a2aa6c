// Running out of memory at each allocation of an operation in turn, once and for good: the caller learns of it or has
// what was asked for, what was used works again once there is memory, and nothing is lost for ever.
#include <cstdlib>
#include <new>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Test {
namespace {

std::atomic<unsigned> left{0};
std::atomic<bool> isLasting{false}, hasFailed{false}, isElsewhere{false};
thread_local bool isHere = false;    // on the thread that has the object
std::atomic<std::size_t> blocks{0};  // that the process has now

bool fails() noexcept {
  if (isHere == isElsewhere) return false;
  if (hasFailed) return isLasting;
  return left > 0 && left.fetch_sub(1) == 1 && (hasFailed = true);
}

/// For its life, the `number`th allocation from now on fails, and if it is `lasting` each one after it too: on this
/// thread or `elsewhere`, on all others. The C++ library's own exceptions are not affected.
struct FailingAllocation {
  FailingAllocation(unsigned number, bool lasting, bool elsewhere = false) noexcept {
    hasFailed = false;
    isLasting = lasting;
    left = number;
    isHere = true;
    isElsewhere = elsewhere;
  }
  ~FailingAllocation() { left = 0, isHere = isElsewhere = false; }
  /// Whether there were so many.
  bool happened() const noexcept { return hasFailed; }
};

using namespace Harness;
using Bus::Message::Iterator;
using Hevra::Command;
using Hevra::Proxy::CommandContainerList;
constexpr const char* SERVICE = "com.quarnix.Application.Hevra";
constexpr const char* MANAGER = "/com/quarnix/Application/HevraZuv/Manager/Command";
const Hevra::Group GROUP("a group of commands");

struct Listener : Hevra::Interface::Command::Originator {
  void progress(const Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override {}
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
  explicit World(const std::string& where) : service(Connection::open(where)), client(Connection::open(where)) {
    TestServer::serve(server, SERVICE);
    manager->setConnection(client);
    remake();
  }
  void remake() { proxy = std::make_unique<TestProxy>(client, SERVICE, TestProxy::Hook(), MANAGER); }
  void ask() {
    const std::string text = "a text that is too long for a string to hold within itself";
    if (proxy->ask("Echo", text) != text) throw std::runtime_error("no answer");
  }
  void add() {
    list.reset();
    manager->add(originator, GROUP, list);
  }
  /// With memory again, everything goes.
  void check() {
    ask();
    if (!name.empty()) {
      EXPECT_EQ(client->getUniqueName(), name);
    }
    proxy->start(true);
    const std::size_t before = proxy->signals.count();
    ask();
    EXPECT_TRUE(proxy->signals.await(before + 1));
    manager->start(true);
    add();
    const TestProxy reporter(service, client->getUniqueName(), {}, "/com/quarnix/Application/app/Hevra/Originator");
    EXPECT_EQ(reporter.ask("Echo"), error("UnknownMethod")) << "as somebody says who is there";
  }
  Shared::Pointer<Connection> service, client;
  // What is not for the caller comes to it before the answer does.
  TestServer server{service,
                    [](TestServer& self, const Call& call) {
                      self.ring("before the answer");
                      return TestServer::echo(self, call);
                    },
                    MANAGER};
  std::unique_ptr<TestProxy> proxy;
  std::unique_ptr<Hevra::Proxy::Command::Manager> manager =
      std::make_unique<Hevra::Proxy::Command::Manager>(false, "app");
  Shared::Pointer<Hevra::Interface::Command::Originator> originator = Shared::make<Listener>();
  CommandContainerList list = commands();
  std::string name;  // when its link must stay
};

void build(World& world) {
  Call call = callTo("Add", "text");
  Iterator arguments = call.begin();
  world.list.reset();
  try {
    arguments.append(std::uint8_t{1}, std::uint8_t{2});
    for (const char* contents : {"y", "(utbuviiyisusuyyutbuviiyisusuyyutbuviiyisusuyy)"}) {
      Iterator array = arguments.begin(Bus::Message::ARRAY, contents);
      arguments.end(array);
    }
    Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(arguments, world.list);
  } catch (const std::bad_alloc&) {
    EXPECT_ANY_THROW(call.seal(1, {MANAGER, SERVICE, {}})) << "half written";
    throw;
  }
  call.seal(1, {MANAGER, SERVICE, {}});
}

void none(World&) {}
void start(World& world) { world.manager->start(true); }
void listen(World& world) { world.proxy->start(true); }
void ask(World& world) { world.ask(); }
void use(World& world) { world.ask(), world.name = world.client->getUniqueName(); }

const struct {
  const char* name;
  void (*prepare)(World&);
  void (*run)(World&);  // raises when it fails
} OPERATIONS[] = {
    {"build", none, build},
    {"first call", none, ask},
    {"call", use, ask},
    {"call while started", listen, ask},
    {"signal", none, [](World& world) { world.server.ring("text"); }},
    {"start", none, start},
    {"stop", start, [](World& world) { world.manager->stop(); }},
    {"submit", start, [](World& world) { world.add(); }},
    {"name", none, [](World& world) { world.client->requestName("com.example.Another"); }},
    {"release", none, [](World& world) { world.client->releaseName("com.example.Another"); }},
    {"end of a proxy", listen, [](World& world) { world.remake(); }},
};

struct Memory : testing::Test {
  /// Keeps nothing.
  struct Silent : Log::Logger {
    void write(Log::Priority, const char*) override {}
  };
  Memory() { Log::Logger::set(Shared::make<Silent>()); }
  BusDaemon daemon;
};

// A message that could not be stored ended the link.
TEST_F(Memory, MayFailAtAnyAllocation) {
  for (const auto& operation : OPERATIONS) {
    for (const bool lasting : {false, true}) {
      std::size_t before = 0;
      bool happened = true;
      for (unsigned number = 0; happened; ++number) {
        SCOPED_TRACE(std::string(operation.name) + ", allocation " + std::to_string(number));
        {
          World world(daemon.address());
          operation.prepare(world);
          if (lasting) world.name.clear();
          bool done = false;
          {
            const FailingAllocation failing(number, lasting);
            try {
              operation.run(world);
              done = true;
            } catch (const std::exception&) {
            }
            happened = failing.happened() || number == 0;
          }
          EXPECT_TRUE(done || happened);
          world.check();
        }
        // The first round, in which nothing fails, makes what is made once in the process.
        if (number == 1) before = blocks;
        while (number > 1 && blocks > before) std::this_thread::yield();
        ASSERT_LT(number, 10'000u);
      }
    }
  }
}

// The key could not be queued, or the outcome not be written: the command stayed for ever, and nobody was told.
TEST_F(Memory, IsNotNeededAtAnExpiry) {
  struct Ends : Hevra::Proxy::Command::OutcomeObserver {
    void ended(const Hevra::Group&, std::uint32_t, const Hevra::Proxy::Command::Outcome&) override { ++count; }
    std::atomic<int> count{0};
  };
  Time::SimulatedClock clock;
  World world("in-process");
  const auto ends = Shared::make<Ends>();
  int submitted = 0;
  for (const bool lasting : {false, true}) {
    bool happened = true;
    for (unsigned number = 1; happened; ++number) {
      world.manager->submit(world.originator, GROUP, world.list, ends);
      submitted += 2;
      {
        const FailingAllocation failing(number, lasting, true);
        clock.advance(Time::Elapsed(60, 0));
        happened = failing.happened();
      }
      ASSERT_EQ(ends->count, submitted) << "allocation " << number;
      ASSERT_EQ(world.originator.useCount(), 1u);
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
TEST_F(Memory, IsNotNeededToStartATimerAgain) {
  TestTimer timer(Time::Elapsed(3600, 0));
  std::vector<TestTimer> others(40, timer);
  timer.start();
  for (TestTimer& other : others) {
    timer.stop();
    other.start();
    const FailingAllocation failing(1, true);
    EXPECT_NO_THROW(timer.start());
  }
}

// Each name took memory until the connection went.
TEST_F(Memory, IsNotKeptForNamesThatNobodyUses) {
  const auto connection = Connection::open(daemon.address());
  std::size_t before = 0;
  for (int number = 0; number < 110; ++number) {
    EXPECT_EQ(TestProxy(connection, "com.example.Nobody" + std::to_string(number)).ask("Echo"),
              error("ServiceUnknown"));
    connection->getNameOwner(SERVICE);
    if (number == 9) before = blocks;
  }
  EXPECT_LT(blocks, before + 10);
}

}  // namespace
}  // namespace Quarnix::Test

// What the linker puts in the place of the library's calls of malloc and realloc, and of everybody's of new.
using Quarnix::Test::blocks;
using Quarnix::Test::fails;
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size) { return fails() ? nullptr : __real_malloc(size); }
void* __wrap_realloc(void* block, std::size_t size) { return fails() ? nullptr : __real_realloc(block, size); }
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const block = fails() ? nullptr : __real_malloc(size ? size : 1);
  if (block) ++blocks;
  return block;
}
void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  if (block) --blocks;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
