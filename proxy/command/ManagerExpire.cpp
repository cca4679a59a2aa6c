// Forgetting commands that nothing was heard of. An entry is never destroyed by its own expiry: the key is queued, and
// the event's task takes the entry out.
#include <platform/core/log/Logger.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

void Manager::Timer::expired(const Time::Monotonic&) { manager->timeout(key); }

void Manager::timeout(std::string key) {
  try {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager command timeout, matching key: %s", key.c_str());
  } catch (...) {
    queueExpired(std::move(key));
    throw;
  }
  queueExpired(std::move(key));
}

void Manager::queueExpired(std::string key) {
  {
    MutexLock lock(mutex_);
    expiredKeys.push_back(std::move(key));
  }
  Event::send();
}

void Manager::receive(unsigned long long) {
  // One key at a time, and looked at anew each time: more may be appended meanwhile.
  for (;;) {
    std::string key;
    std::map<std::string, Timer>::node_type forgotten;
    {
      MutexLock lock(mutex_);
      if (expiredKeys.empty()) return;
      key = std::move(expiredKeys.front());
      expiredKeys.pop_front();
      forgotten = timers.extract(key);
    }
    if (forgotten) {
      tell(forgotten.mapped().watches, {Outcome::Kind::TIMED_OUT, {}, "no report has come in time"});
      continue;
    }
    try {
      Log::Logger::get()->print(
          Log::Priority::WARNING,
          "HV/ZUV proxy library> CommandManager unable to clean command, unknown originator for key %s", key.c_str());
    } catch (...) {
      // The keys behind this one must not wait for the next expiry.
      Event::send();
      throw;
    }
  }
}

}  // namespace Quarnix::Hevra::Proxy::Command
