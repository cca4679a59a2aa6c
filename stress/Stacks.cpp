// hevra-stacks: measures how much of its stack each thread of the library uses in its deepest hook. It fills the stack
// of a thread with a pattern before the thread runs. The lowest byte that has changed gives the used size.
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include <stress/FastClock.h>
#include <stress/Reports.h>
#include <platform/core/log/Logger.h>
#include <platform/core/timer/Monotonic.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/Variant.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>

namespace {

using namespace Quarnix;
using namespace Quarnix::Harness;

constexpr Hevra::Stack::Variant VARIANT = Hevra::Stack::Variant::HEVRA;
const std::string SERVICE = busNameOf(VARIANT);
constexpr const char* APPLICATION = "stacks";
constexpr unsigned char PATTERN = 0xA5;

struct Stack {
  unsigned char* low;
  std::size_t size;
};

/// The stack of the calling thread.
Stack ownStack() {
  pthread_attr_t attributes;
  void* low = nullptr;
  std::size_t size = 0;
  ::pthread_getattr_np(::pthread_self(), &attributes);
  ::pthread_attr_getstack(&attributes, &low, &size);
  ::pthread_attr_destroy(&attributes);
  return {static_cast<unsigned char*>(low), size};
}

/// The threads by their duty. Each hook adds its thread.
class Threads {
 public:
  void add(const char* name, unsigned int requested) {
    const std::lock_guard<std::mutex> lock(mutex_);
    threads_[name] = {ownStack(), requested};
  }
  void print() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::printf("| %-28s | %9s | %9s | %9s | %4s |\n|---|---|---|---|---|\n", "task", "requested", "given", "used",
                "%");
    for (const auto& [name, thread] : threads_) {
      const auto& [stack, requested] = thread;
      std::size_t clean = 0;
      while (clean < stack.size && stack.low[clean] == PATTERN) ++clean;
      const std::size_t used = stack.size - clean;
      std::printf("| %-28s | %9u | %9zu | %9zu | %4zu |\n", name.c_str(), requested, stack.size, used,
                  used * 100 / stack.size);
    }
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::pair<Stack, unsigned int>> threads_;
};

Threads& threads() {
  static Threads& instance = *new Threads;
  return instance;
}

/// Fills the unused stack of the calling thread with the pattern.
__attribute__((noinline)) void fillStack() {
  // Leaves out the bytes next to this frame. Later calls overwrite them anyway.
  auto* const end = static_cast<unsigned char*>(__builtin_frame_address(0)) - 1024;
  for (volatile unsigned char* at = ownStack().low; at < end; ++at) *at = PATTERN;
}

struct Body {
  void* (*run)(void*);
  void* argument;
};

void* fillAndRun(void* allocated) {
  const Body body = *static_cast<Body*>(allocated);
  delete static_cast<Body*>(allocated);
  fillStack();
  return body.run(body.argument);
}

/// A stack service. It sends messages that the client must read while its callback waits for the answer to `add`.
class Service final : public Bus::Object::Server {
 public:
  explicit Service(Shared::Pointer<Connection> connection) {
    setConnection(std::move(connection));
    setPath(Hevra::Stack::COMMAND_PATH);
    start(true);
    getConnection()->requestName(SERVICE);
  }
  ~Service() override { retire(); }

  /// Sends a message of 64 levels to each of the client's objects, with signatures that they do not expect.
  void sendDeepMessages(const std::string& client) {
    Call call = Stress::makeProgressCall(client, APPLICATION);
    {
      Bus::Message::Iterator arguments = call.begin();
      nest(arguments, 0);
    }
    getConnection()->call(call);
    Signal signal(Hevra::Stack::COMMAND_PATH, commandInterfaceOf(VARIANT).c_str(), "exception");
    {
      Bus::Message::Iterator arguments = signal.begin();
      nest(arguments, 0);
    }
    send(signal);
  }
  void report(const std::string& client, const Hevra::Command& command) {
    Call call = Stress::makeReport(client, APPLICATION, command, Hevra::Group("g"));
    getConnection()->call(call);
  }
  void announce() {
    Signal signal(Hevra::Stack::COMMAND_PATH, commandInterfaceOf(VARIANT).c_str(), "exception");
    signal.begin().append("a text");
    send(signal);
  }

 protected:
  bool method(const Call& call) override {
    sendDeepMessages(call.getSender());
    Return reply(call);
    send(reply);
    return true;
  }

 private:
  /// Appends a byte in 64 nested variants.
  static void nest(Bus::Message::Iterator& outer, int level) {
    if (level == 64) return outer.append(std::uint8_t{1});
    Bus::Message::Iterator inner = outer.begin(Bus::Message::VARIANT, level == 63 ? "y" : "v");
    nest(inner, level + 1);
    outer.end(inner);
  }
};

/// Its hook runs on every task: it submits a command, reads the deep messages while it waits, and throws.
class Client final : public Hevra::Proxy::Command::Manager {
 public:
  Client() : Manager(false, APPLICATION) {}
  ~Client() override { stop(); }

  void submit(const Shared::Pointer<Hevra::Interface::Command::Originator>& to, std::uint32_t id) {
    Hevra::Command command;
    command.setId(id);
    command.setLabel("a label");
    add(to, Hevra::Group("g"), Hevra::Proxy::CommandContainerList{command});
  }
  [[noreturn]] void hook(const char* task, unsigned int requested) {
    threads().add(task, requested);
    submit(nullptr, 2);
    done.open();
    throw std::runtime_error("of an application's hook");
  }

  Gate done;

 protected:
  void exception(std::string) override { hook("proxy (signals)", Bus::Object::Proxy::getStackSize()); }
};

const auto PAGE = static_cast<unsigned int>(::getpagesize());

/// The event's task drops expired commands, and destroys this originator with the last one.
class Originator final : public Hevra::Interface::Command::Originator {
 public:
  explicit Originator(Client& client) : client_(client) {}
  ~Originator() override {
    try {
      client_.hook("event (forgetting commands)", 0);
    } catch (const std::runtime_error&) {
    }
  }
  void progress(const Hevra::Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override {
    client_.hook("server (progress reports)", 8 * PAGE);
  }

 private:
  Client& client_;
};

class Timer final : public Quarnix::Timer::Monotonic {
 public:
  explicit Timer(Client& client) : Monotonic(Time::Monotonic(), true), client_(client) {}
  ~Timer() override { retire(); }

 protected:
  void expired(const Time::Monotonic&) override { client_.hook("all timers", 256 * 1024); }

 private:
  Client& client_;
};

/// Measures the connection's own thread, which runs no hooks, but logs.
class Lines final : public Log::StandardErrorLogger {
 public:
  static Gate& lost() {
    static Gate& gate = *new Gate;
    return gate;
  }

 protected:
  void write(Log::Priority priority, const char* line) override {
    StandardErrorLogger::write(priority, line);
    if (std::strncmp(line, "Lost the message bus", 20) != 0) return;
    threads().add("connection (reading)", 16 * 1024);
    lost().open();
  }
};

void run() {
  Log::Logger::set(Shared::make<Lines>());
  Time::Clock::install(new Stress::FastClock(10));  // a command is forgotten after 6 s
  BusDaemon daemon;
  Client client;
  client.setConnection(Connection::open(daemon.address()));
  {
    Service service(Connection::open(daemon.address()));
    client.start(true);
    const std::string name = client.getConnection()->getUniqueName();
    client.submit(Shared::make<Originator>(client), 1);
    Hevra::Command command;
    command.setId(1);
    service.report(name, command);
    client.done.await(1);
    service.announce();
    client.done.await(2);
    Timer timer(client);
    timer.start();
    client.done.await(3);
    client.done.await(4);            // forgotten
    service.sendDeepMessages(name);  // no caller is there to read these
    service.getConnection()->getNameOwner(SERVICE);
  }
  daemon.kill();
  Lines::lost().await();
  daemon.start();
  client.getConnection()->getUniqueName();
  threads().print();  // while the threads still exist
}

}  // namespace

// Replaces the C library's function for all threads of the process.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                              void* argument) noexcept {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, &fillAndRun, new Body{run, argument});
}

int main() {
  std::printf("%zu bits\n", sizeof(void*) * 8);
  run();
  return 0;
}
