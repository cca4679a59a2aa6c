// Passes commands to the runners of their originators.
#include <stack/Radio.h>

namespace Quarnix::Hevra::Stack {

void Radio::submit(const std::string& client, const std::string& path, std::vector<Job> jobs) {
  if (jobs.empty()) return;
  // A runner's destructor waits for its task, so idle runners are destroyed after the mutex is released. None of them
  // can get a job in the meantime, because jobs are submitted only under the mutex.
  Runners idle;
  MutexLock lock(mutex_);
  std::unique_ptr<CommandRunner>& runner = runners_[{client, path}];
  if (!runner) runner = std::make_unique<CommandRunner>(connection_, client, path, pace_, nodes_, faults_);
  runner->submit(std::move(jobs));
  for (auto next = runners_.begin(); next != runners_.end();) {
    const auto position = next++;
    if (position->second->getCommandCount() == 0) idle.insert(runners_.extract(position));
  }
}

void Radio::cancel(const std::function<bool(const Job&)>& chosen) {
  MutexLock lock(mutex_);
  for (auto& [originator, runner] : runners_) runner->cancel(chosen);
}

void Radio::drop() {
  MutexLock lock(mutex_);
  for (auto& [originator, runner] : runners_) runner->drop();
}

void Radio::clear() {
  Runners ended;
  MutexLock lock(mutex_);
  ended.swap(runners_);
}

std::size_t Radio::getCommandCount() const {
  MutexLock lock(mutex_);
  std::size_t count = 0;
  for (const auto& [originator, runner] : runners_) count += runner->getCommandCount();
  return count;
}

}  // namespace Quarnix::Hevra::Stack
