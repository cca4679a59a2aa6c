// The main function of all test programs. With --dispatched, everything in a test runs on a dispatcher, as in an
// application that has an event loop of its own: a thread of the harness dispatches, and the tests stay as they are.
#include <optional>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include <platform/core/Dispatcher.h>
#include <platform/core/internal/Activity.h>

namespace Quarnix::Harness {
namespace {

/// The process's default dispatcher, and the thread that runs it. A simulated clock waits for its work.
class DispatcherThread {
 public:
  DispatcherThread() {
    Dispatcher::setDefault(&dispatcher_);
    Activity::begin();  // from now on, for a clock must not take a thread that has not begun for an idle one
    thread_ = std::thread([this] { run(); });
  }
  ~DispatcherThread() {
    dispatcher_.quit();
    thread_.join();
  }
  DispatcherThread(const DispatcherThread&) = delete;
  DispatcherThread& operator=(const DispatcherThread&) = delete;

 private:
  void run() {
    Activity::countThisThread();
    dispatcher_.run();
    Activity::end();
  }

  Dispatcher dispatcher_;
  std::thread thread_;
};

class DispatchedTests : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { thread_.emplace(); }
  void OnTestEnd(const testing::TestInfo&) override { thread_.reset(); }

  std::optional<DispatcherThread> thread_;
};

}  // namespace
}  // namespace Quarnix::Harness

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (count > 1 && std::string_view(arguments[1]) == "--dispatched")
    testing::UnitTest::GetInstance()->listeners().Append(new Quarnix::Harness::DispatchedTests);
  return RUN_ALL_TESTS();
}
