// hevra-soak SECONDS STACKD [dispatcher]: constantly submits commands with distinct keys, in real time. The bus daemon
// restarts every 20 s, and the service, the program STACKD in another process, every 33 s. Every command must leave the
// manager, with at most one final report, and the memory must not grow. With the last argument, the manager is on a
// dispatcher.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <stress/Ledger.h>
#include <platform/core/Dispatcher.h>
#include <proxy/command/Manager.h>
#include <tests/harness/BusDaemon.h>

namespace {

using namespace Quarnix;
using namespace Quarnix::Stress;
using Seconds = std::chrono::seconds;

constexpr int BUS_LIFE = 20;
constexpr int SERVICE_LIFE = 33;
constexpr int SAMPLE = 10;
// The last commands expire 60 s after their last report, or after their delay plus 30 s.
constexpr int LAST_EXPIRY = 75;
constexpr std::uint64_t MOST_IN_FLIGHT = 20'000;
constexpr double MOST_GROWTH = 1.05;  // limit of the last quarter's memory, relative to the second quarter's

/// The process of the service. Starts it again when it has ended, as a service manager does.
class ServiceProcess {
 public:
  ServiceProcess(std::string program, std::string address)
      : program_(std::move(program)), address_(std::move(address)) {}
  ~ServiceProcess() { stop(SIGKILL); }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  void keepRunning() {
    if (pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == pid_) pid_ = -1;
    if (pid_ > 0) return;
    ++starts;
    pid_ = ::fork();
    if (pid_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The service warns of unanswered reports, which are expected here.
    if (!std::freopen("/dev/null", "w", stderr) || !std::freopen("/dev/null", "w", stdout)) ::_exit(126);
    ::execl(program_.c_str(), program_.c_str(), "--bus", address_.c_str(), "--pace", "20", "--drop", "0.02", "--fail",
            "0.05", "--refuse", "0.01", "--duplicate", "0.05", nullptr);
    ::_exit(127);
  }
  void stop(int signal) {
    if (pid_ < 0) return;
    ::kill(pid_, signal);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  std::uint64_t starts = 0;

 private:
  const std::string program_, address_;
  pid_t pid_ = -1;
};

std::uint64_t residentKilobytes() {
  std::ifstream file("/proc/self/statm");
  std::uint64_t all = 0, resident = 0;
  file >> all >> resident;
  return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) / 1024;
}

void submitConstantly(Ledger& ledger, Hevra::Proxy::Command::Manager& manager, std::atomic<std::uint64_t>& groups,
                      const std::atomic<bool>& over) {
  while (!over) {
    const bool taken = ledger.inFlight() < MOST_IN_FLIGHT &&
                       Batch::submit(ledger, manager, "g" + std::to_string(++groups), 1 + draw(4));
    // About a thousand commands per second, and fewer while the service or the bus is down.
    std::this_thread::sleep_for(std::chrono::milliseconds(taken ? 5 : 50));
  }
}

bool isFlat(const std::vector<std::uint64_t>& samples) {
  const auto at = [&](std::size_t quarter) {
    return samples.begin() + static_cast<std::ptrdiff_t>(samples.size() * quarter / 4);
  };
  if (samples.size() < 4) return true;
  const std::uint64_t early = *std::max_element(at(1), at(2)), late = *std::max_element(at(3), at(4));
  std::printf("resident memory at the most: %llu kB in the second quarter, %llu kB in the last\n",
              static_cast<unsigned long long>(early), static_cast<unsigned long long>(late));
  return static_cast<double>(late) <= static_cast<double>(early) * MOST_GROWTH;
}

bool run(int seconds, const std::string& program, bool isDispatched) {
  Ledger ledger;
  CountingLogger logger(ledger);
  Harness::BusDaemon daemon;
  ServiceProcess service(program, daemon.address());
  service.keepRunning();
  std::optional<Dispatcher> dispatcher;
  if (isDispatched) Dispatcher::setDefault(&dispatcher.emplace());
  Hevra::Proxy::Command::Manager manager(false, "soak");
  manager.setConnection(Bus::Connection::open(daemon.address()));
  manager.start(true);

  std::thread loop;
  if (dispatcher) loop = std::thread([&] { dispatcher->run(); });
  std::atomic<bool> over{false};
  std::atomic<std::uint64_t> groups{0};
  std::vector<std::thread> submitters;
  submitters.reserve(2);
  for (int i = 0; i < 2; ++i) submitters.emplace_back([&] { submitConstantly(ledger, manager, groups, over); });
  std::vector<std::uint64_t> samples;
  unsigned busStarts = 1;
  for (int second = 1; second <= seconds; ++second) {
    std::this_thread::sleep_for(Seconds(1));
    if (second % BUS_LIFE == 0) {
      daemon.kill();
      daemon.start();
      ++busStarts;
    }
    if (second % SERVICE_LIFE == 0) service.stop(second % 2 ? SIGKILL : SIGTERM);
    service.keepRunning();
    if (second % SAMPLE != 0) continue;
    samples.push_back(residentKilobytes());
    std::printf("%5d s %7llu kB  %s\n", second, static_cast<unsigned long long>(samples.back()),
                ledger.summary().c_str());
  }
  over = true;
  for (std::thread& submitter : submitters) submitter.join();
  ledger.awaitNoneInFlight(LAST_EXPIRY);
  if (dispatcher) dispatcher->quit();
  if (loop.joinable()) loop.join();
  std::printf("%5s   %7llu kB  %s\nthe bus was started %u times, the service %llu times\n%s", "end",
              static_cast<unsigned long long>(residentKilobytes()), ledger.summary().c_str(), busStarts,
              static_cast<unsigned long long>(service.starts), logger.summary().c_str());
  if (ledger.completed == 0) ledger.violate("no command was carried out");
  // The number of commands in flight grows until the first have expired; only longer runs can be compared.
  if (!isFlat(samples) && seconds >= 4 * LAST_EXPIRY) ledger.violate("the memory grows");
  return ledger.isSound();
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const int seconds = argc == 3 || argc == 4 ? std::atoi(argv[1]) : 0;
  if (seconds < 1) return std::fprintf(stderr, "hevra-soak: expected SECONDS and the path of hevra-stackd\n"), 2;
  const bool sound = run(seconds, argv[2], argc == 4);
  std::printf("%s\n", sound ? "sound" : "VIOLATED");
  return sound ? 0 : 1;
}
