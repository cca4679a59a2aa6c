// Keeps the state of a task and makes its runner.
#include <platform/core/Task.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include <platform/core/dispatcher/internal/Loop.h>
#include <platform/core/log/Logger.h>
#include <platform/core/task/internal/Runner.h>

namespace Quarnix {

namespace {

// The flags of a task's state.
constexpr std::uint8_t DISABLED = 1;
constexpr std::uint8_t RETIRED = 2;
constexpr std::uint8_t PENDING = 4;  // scheduled while there was no memory for a runner
constexpr std::uint8_t PLACED = 8;   // whether it has a dispatcher does not change any more

constexpr std::uint8_t allBut(std::uint8_t flag) noexcept { return static_cast<std::uint8_t>(~flag); }

}  // namespace

Task::Task() noexcept = default;
Task::Task(const Task& other) noexcept : loop_(other.loop_.load()), stackSize_(other.stackSize_) {
  if (Loop* const shared = loop_.load()) shared->retain();
}
Task& Task::operator=(const Task& other) noexcept {
  stackSize_ = other.stackSize_;
  return *this;
}
Task::~Task() {
  Task::retire();
  if (Loop* const shared = loop_.load()) shared->release();
}

void Task::entry() {}
void Task::save() {}
void Task::restore() {}

void Task::setDispatcher(Dispatcher& dispatcher) {
  if (state_.load() & PLACED)
    throw std::logic_error("A task is given a dispatcher after its first use, expected before");
  Loop& given = Loop::of(dispatcher);
  given.retain();
  if (Loop* const former = loop_.exchange(&given)) former->release();
}

void Task::shareDispatcher(const Task& other) noexcept {
  Loop* const shared = other.loop();
  if (!shared) return;
  shared->retain();
  if (Loop* const former = loop_.exchange(shared)) former->release();
}

Loop* Task::loop() const noexcept {
  if ((state_.load() & PLACED) == 0) {
    Loop* none = nullptr;
    Loop* const offered = loop_.load() ? nullptr : Loop::getDefault();
    if (offered && loop_.compare_exchange_strong(none, offered)) offered->retain();
    state_.fetch_or(PLACED);
  }
  return loop_.load();
}

bool Task::isEnabled() const noexcept { return (state_.load() & (DISABLED | RETIRED)) == 0; }

bool Task::isOwnThread() const noexcept {
  const Runner* own = runner_.load();
  return own && own == Runner::current();
}

// Here and in `disable`, the flag is written before the runner is read, and whoever makes a runner reads the flag
// after: one of the two sees the other.
void Task::enable() {
  const std::uint8_t former = state_.fetch_and(allBut(DISABLED));
  if (Runner* present = runner_.load())
    present->reconsider();
  else if (former & PENDING)
    schedule();
}

void Task::disable() {
  state_.fetch_or(DISABLED);
  if (Runner* present = runner_.load()) present->awaitOut();
}

Task::Runner* Task::runner() noexcept {
  Runner* present = runner_.load();
  if (present) return present;
  Runner* const made = Runner::make(*this);
  if (!made) return nullptr;
  if (!runner_.compare_exchange_strong(present, made)) {
    made->retire();
    return present;
  }
  if (state_.fetch_and(allBut(PENDING)) & PENDING) made->schedule();
  return made;
}

void Task::schedule() noexcept {
  if (state_.load() & RETIRED) return;
  Runner* present = runner();
  if (!present) {
    // Either whoever makes the runner meanwhile sees the flag, or the runner is seen here.
    state_.fetch_or(PENDING);
    Log::printQuietly(Log::Priority::WARNING,
                      "libCore> no memory for a task that is to run, trying again when next asked");
    present = runner_.load();
  }
  if (present) present->schedule();
}

void Task::prepare() {
  Runner* present = runner();
  if (const int error = present ? present->prepare() : ENOMEM) {
    throw std::system_error(error, std::generic_category(),
                            isDispatched()
                                ? "no dispatcher in this process for a task"
                                : "no thread for a task with " + std::to_string(stackSize_) + " bytes of stack");
  }
}

void Task::reserve() {
  if (!runner()) throw std::bad_alloc();
}

void Task::retire() noexcept {
  if (isOwnThread()) {
    Log::printQuietly(Log::Priority::WARNING,
                      "libCore> a task is destroyed from its own hook: the hook has dropped the last reference to what "
                      "owns it, such as an originator that owns its command manager");
    std::abort();
  }
  state_.fetch_or(RETIRED);
  if (Runner* present = runner_.load()) {
    present->retire();
    runner_.store(nullptr);
  }
}

}  // namespace Quarnix
