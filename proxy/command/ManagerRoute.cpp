// Routing progress reports to those who asked for the commands.
#include <platform/core/log/Logger.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

/// How long the next report may take. In 64 bits, because a delay may be as large as its 32.
std::int64_t secondsUntilNextReport(const Hevra::Command& command) {
  if (static_cast<std::uint32_t>(command.getStatus()) != 6) return 60;
  return command.getDelay() == 0 ? 14400 : std::int64_t{command.getDelay()} + 30;
}

}  // namespace

void Manager::progress(const Hevra::Command& command, const Group& group,
                       const HomeAutomation::Command::Status& status) {
  const std::string key = keyOf(group, command);
  Shared::Pointer<Interface::Command::Originator> client;
  std::uint64_t identity = 0;
  bool known = false;
  Watches ended;
  const Outcome outcome{Outcome::Kind::FINISHED, command.getStatus()};
  {
    MutexLock lock(mutex_);
    if (const auto entry = timers.find(key); entry != timers.end()) {
      entry->second.stop();
      client = entry->second.originator;
      identity = entry->second.getIdentity();
      known = true;
      // The originator may submit the key again while it hears of its end: that command's end is another.
      if (Hevra::Command::isFinalStatus(outcome.status)) ended.swap(entry->second.watches);
    }
  }
  if (!known) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager unknown originator for command #%u of group %s "
                              "with status %i (node = %x / parameter = %llx)",
                              unsigned{command.getId()}, group.getId().c_str(), static_cast<int>(status),
                              unsigned{command.getAddress()},
                              static_cast<unsigned long long>(command.getParameterId()));
    return;
  }
  try {
    client->progress(command, group, status);
  } catch (...) {
    settle(key, identity, command);
    tell(ended, outcome);
    throw;
  }
  settle(key, identity, command);
  tell(ended, outcome);
}

/// Forgets the entry or has it wait for the next report, if it is still the one that the report was for: the originator
/// may have submitted the same key again, and another thread may have forgotten it.
void Manager::settle(const std::string& key, std::uint64_t identity, const Hevra::Command& command) {
  std::map<std::string, Timer>::node_type forgotten;  // goes after the mutex is released
  MutexLock lock(mutex_);
  const auto entry = timers.find(key);
  if (entry == timers.end() || entry->second.getIdentity() != identity) return;
  if (Hevra::Command::isFinalStatus(command.getStatus())) {
    // Submitted again meanwhile, by somebody who is to hear of that command's end.
    if (!entry->second.watches.empty()) return;
    forgotten = timers.extract(entry);
    return;
  }
  entry->second.setTime(Time::Monotonic(Time::Elapsed(secondsUntilNextReport(command), 0)), true);
  entry->second.start();
}

}  // namespace Quarnix::Hevra::Proxy::Command
