// Counts commands and log lines.
#include <stress/Ledger.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include <platform/bus/message/method/Return.h>
#include <proxy/command/CommandContainerList.h>

namespace Quarnix::Stress {

std::uint32_t draw(std::uint32_t below) {
  thread_local std::minstd_rand engine(std::random_device{}());
  return std::uniform_int_distribution<std::uint32_t>(0, below - 1)(engine);
}

void Ledger::violate(const std::string& what) {
  // The first ones are enough to find the cause.
  if (violations++ < 20) std::fprintf(stderr, "VIOLATED: %s\n", what.c_str());
}

void Ledger::awaitNoneInFlight(int seconds) {
  for (int tick = 0; tick < seconds * 100; ++tick) {
    if (inFlight() == 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  violate(std::to_string(inFlight()) + " commands are still in flight " + std::to_string(seconds) +
          " s after the last was submitted");
}

std::string Ledger::summary() const {
  return std::to_string(submitted) + " commands: " + std::to_string(completed) + " with a final report, " +
         std::to_string(expired) + " expired, " + std::to_string(refused) + " of failed calls, " +
         std::to_string(inFlight()) + " in flight; " + std::to_string(reports) + " reports";
}

Batch::Batch(Ledger& ledger, std::uint32_t count, Hook hook)
    : ledger_(ledger), count_(count), hook_(std::move(hook)), final_(new std::atomic<bool>[count]()) {
  ledger_.submitted += count;
}

Batch::~Batch() {
  std::uint32_t completed = 0;
  for (std::uint32_t id = 0; id < count_; ++id) completed += final_[id];
  ledger_.completed += completed;
  (refused_ ? ledger_.refused : ledger_.expired) += count_ - completed;
  ledger_.ended += count_;
}

void Batch::progress(const Hevra::Command& command, const Hevra::Group& group, const HomeAutomation::Command::Status&) {
  ++ledger_.reports;
  if (command.getId() >= count_) return ledger_.violate("a report of a command that was not submitted");
  const bool isFinal = Hevra::Command::isFinalStatus(command.getStatus());
  if (isFinal ? final_[command.getId()].exchange(true) : final_[command.getId()].load())
    ledger_.violate("a report after the final one of " + group.getId() + "_" + std::to_string(command.getId()));
  if (hook_) hook_(command, group);
}

bool Batch::submit(Ledger& ledger, Hevra::Interface::Command::Manager& manager, const std::string& group,
                   std::uint32_t count, Hook hook) {
  Hevra::Proxy::CommandContainerList commands;
  for (std::uint32_t id = 0; id < count; ++id) {
    Hevra::Command command;
    command.setId(id);
    command.setAddress(0x1001);
    command.setWrite(draw(16) == 0);
    command.setDelay(draw(8) == 0 ? 1 + draw(3) : 0, 0);
    command.setAcei(Hevra::Command::Acei(draw(8), 0, 0));
    commands.append(command);
  }
  const auto batch = Shared::make<Batch>(ledger, count, std::move(hook));
  try {
    manager.add(batch, Hevra::Group(group), commands);
    return true;
  } catch (const Bus::Message::Method::Return&) {
    batch->refused_ = true;
    return false;
  }
}

class CountingLogger::Lines final : public Log::Logger {
 public:
  explicit Lines(Ledger& ledger) : ledger_(ledger) {}

  std::map<std::string, std::uint64_t> get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
  }

 private:
  void write(Log::Priority priority, const char* line) override {
    // Lines of one kind have the same text after "library> ", up to the first digit or name.
    const std::string text = line;
    const std::size_t begin = text.find("> ") + 1;
    std::string kind = text.substr(begin, text.find_first_of("0123456789:#", begin) - begin);
    if (priority < Log::Priority::WARNING) ledger_.violate("logged: " + text);
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[std::move(kind)];
  }

  Ledger& ledger_;
  mutable std::mutex mutex_;
  std::map<std::string, std::uint64_t> counts_;
};

CountingLogger::CountingLogger(Ledger& ledger) : lines_(Shared::make<Lines>(ledger)), former_(Log::Logger::get()) {
  Log::Logger::set(lines_);
}

CountingLogger::~CountingLogger() { Log::Logger::set(former_); }

std::string CountingLogger::summary() const {
  std::string text;
  for (const auto& [kind, count] : lines_->get())
    text += "  logged " + std::to_string(count) + " x" + (kind[0] == ' ' ? "" : " ") + kind + "\n";
  return text;
}

}  // namespace Quarnix::Stress
