// Hands reports to the originators, and forgets commands that report nothing in time.
#include <platform/core/log/Logger.h>
#include <proxy/command/Manager.h>
#include <proxy/command/internal/Outcomes.h>

#include <utility>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

/// How long the next report may take. It has 64 bits, because a delay may use all of its 32.
std::int64_t secondsUntilNextReport(const Hevra::Command& command) {
  if (static_cast<std::uint32_t>(command.getStatus()) != 6) return 60;
  return command.getDelay() == 0 ? 14400 : std::int64_t{command.getDelay()} + 30;
}

}  // namespace

void Manager::progress(const Hevra::Command& command, const Group& group,
                       const HomeAutomation::Command::Status& status) {
  const std::string key = keyOf(group, command);
  const Outcome outcome{Outcome::Kind::FINISHED, command.getStatus()};
  Shared::Pointer<Interface::Command::Originator> client;
  Entry finished;
  Watches ended;
  bool known = false, isFinal = false;
  {
    MutexLock lock(mutex_);
    if (const auto entry = timers.find(key); entry != timers.end()) {
      known = true;
      Timer& timer = entry->second;
      timer.stop();
      client = timer.originator;
      if (Hevra::Command::isFinalStatus(outcome.status)) {
        // It leaves the map before the originator runs, which may hand the key over again.
        isFinal = true;
        ended.take(timer.watches);
        const bool isExpired = std::exchange(timer.life, Life::FINISHED) == Life::EXPIRED;
        if (isExpired) {
          replaced_.insert(timers.extract(entry));
        } else {
          finished = timers.extract(entry);
        }
      } else if (timer.life == Life::WAITING) {
        timer.life = Life::REPORTED;
      }
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
  const auto settle = [&] {
    if (!isFinal) return waitAnew(key, command);
    finished = {};
    tell(ended, outcome);
  };
  try {
    client->progress(command, group, status);
  } catch (...) {
    settle();
    throw;
  }
  settle();
}

/// Begins the wait anew after a report that is not final. Only the entry of that report is REPORTED, because one report
/// comes at a time, and in that state the entry is neither forgotten nor replaced.
void Manager::waitAnew(const std::string& key, const Hevra::Command& command) {
  MutexLock lock(mutex_);
  const auto entry = timers.find(key);
  if (entry == timers.end() || entry->second.life != Life::REPORTED) return;
  entry->second.life = Life::WAITING;
  entry->second.setTime(Time::Monotonic(Time::Elapsed(secondsUntilNextReport(command), 0)), true);
  entry->second.start();
}

/// Runs on the timers' thread. From here to the end of the entry, nothing needs memory.
void Manager::timeout(Timer& timer) {
  {
    MutexLock lock(mutex_);
    // Since the deadline, a report may have come or the key may have been handed over again.
    if (timer.life != Life::WAITING || timer.isRunning()) return;
    timer.life = Life::EXPIRED;
    (expiredKeys.last ? expiredKeys.last->nextExpired : expiredKeys.first) = &timer;
    expiredKeys.last = &timer;
  }
  try {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager command timeout, matching key: %s",
                              timer.key.c_str());
  } catch (...) {
    Event::send();
    throw;
  }
  Event::send();
}

void Manager::receive(unsigned long long) {
  // It takes one entry at a time, because more may come meanwhile.
  for (;;) {
    Entry forgotten;
    bool isFinished = false;
    {
      MutexLock lock(mutex_);
      if (!expiredKeys.first) return;
      forgotten = takeExpired();
      isFinished = forgotten.mapped().life == Life::FINISHED;
    }
    if (!isFinished) {
      tell(forgotten.mapped().watches, Outcomes::get().timedOut);
      continue;
    }
    try {
      Log::Logger::get()->print(
          Log::Priority::WARNING,
          "HV/ZUV proxy library> CommandManager unable to clean command, unknown originator for key %s",
          forgotten.key().c_str());
    } catch (...) {
      // The entries behind this one must not wait until the next expiry.
      Event::send();
      throw;
    }
  }
}

/// Takes the first entry of `expiredKeys`.
Manager::Entry Manager::takeExpired() {
  const Timer* const timer = expiredKeys.first;
  expiredKeys.first = timer->nextExpired;
  if (!expiredKeys.first) expiredKeys.last = nullptr;
  const auto [begin, end] = replaced_.equal_range(timer->key);
  for (auto entry = begin; entry != end; ++entry)
    if (&entry->second == timer) return replaced_.extract(entry);
  return timers.extract(timers.find(timer->key));
}

}  // namespace Quarnix::Hevra::Proxy::Command
