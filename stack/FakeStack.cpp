// Sets the process up for a test and notes what the application submits.
#include <stack/FakeStack.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Quarnix::Hevra::Stack {

namespace {

std::atomic<bool> exists{false};

Time::Elapsed spanOf(std::chrono::nanoseconds span) { return Time::Elapsed::ofNanoseconds(span.count()); }

std::string describe(const Command& command) {
  char address[11];
  std::snprintf(address, sizeof address, "0x%lx", static_cast<unsigned long>(command.getAddress()));
  if (!command.isWrite()) return std::string(" reads ") + address;
  return " writes " + (command.getValue() ? command.getValue()->toString() : "nothing") + " to " + address;
}

}  // namespace

FakeStack::Surroundings::Surroundings() {
  if (exists.exchange(true)) throw std::logic_error("a second FakeStack made, expected one at a time");
  try {
    formerDefault = Bus::Connection::getDefault();
  } catch (const Bus::InvalidArgument&) {
    // The environment names no bus; a test does not need one.
  }
  Bus::Connection::setDefault(Bus::Connection::open("in-process"));
}

FakeStack::Surroundings::~Surroundings() {
  Bus::Connection::setDefault(formerDefault);
  exists = false;
}

FakeStack::FakeStack(const Options& options) { serve(options); }

void FakeStack::serve(const Options& options) {
  service_.reset();
  {
    MutexLock lock(mutex_);
    commands_.clear();
    last_.reset();
  }
  Options noted = options;
  noted.submitted = [this, next = options.submitted](const Submission& submission) {
    note(submission);
    if (next) next(submission);
  };
  service_ = std::make_unique<Service>(noted, Bus::Connection::open("in-process"));
  service_->start();
}

void FakeStack::advance(std::chrono::nanoseconds span) { clock_.advance(spanOf(span)); }

void FakeStack::restart(std::chrono::nanoseconds away) {
  clock_.settle();
  service_->restart(spanOf(away));
  clock_.settle();
}

void FakeStack::exception(const std::string& text) {
  service_->announceException(text);
  clock_.settle();
}

std::optional<std::uint32_t> FakeStack::stateOf(std::uint32_t address) const {
  const std::optional<AnyNode> node = service_->getNodes().find(address);
  if (!node) return {};
  return headOf(*node).getState();
}

std::vector<std::string> FakeStack::takeCommands() {
  MutexLock lock(mutex_);
  return std::exchange(commands_, {});
}

std::optional<Command> FakeStack::lastCommand() const {
  MutexLock lock(mutex_);
  return last_;
}

void FakeStack::note(const Submission& submission) {
  MutexLock lock(mutex_);
  for (const Command& command : submission.commands) {
    commands_.push_back(submission.group + "_" + std::to_string(command.getId()) + describe(command));
    last_ = command;
  }
}

}  // namespace Quarnix::Hevra::Stack
