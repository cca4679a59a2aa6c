// Takes each command from status to status and reports it.
#include <stack/CommandRunner.h>

#include <cstring>
#include <utility>

#include <bus/CommandWrapper.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>
#include <platform/hevra/homeautomation/command/Status.h>

namespace Quarnix::Hevra::Stack {

namespace {

using Status = HvDetailedCommandStatus;
using Kind = Effect::Kind;

HomeAutomation::Command::Status summaryOf(Status status) {
  using Summary = HomeAutomation::Command::Status;
  if (!Command::isFinalStatus(status)) return Summary::RUNNING;
  return status == Status::COMPLETED ? Summary::DONE : Summary::FAILED;
}

void appendReport(Bus::Message::Iterator& arguments, const Job& job) {
  Bus::Message::Iterator record = arguments.begin(Bus::Message::STRUCTURE);
  Bus::Type::Wrapper<Command>().serialize(record, job.command);
  arguments.end(record);
  Bus::Message::Iterator group = arguments.begin(Bus::Message::STRUCTURE);
  group.append(job.group);
  arguments.end(group);
  arguments.append(static_cast<std::int32_t>(summaryOf(job.command.getStatus())));
}

/// Says whether the error means that the connection has gone for good; a bus does not use a unique name twice.
bool saysGone(const char* errorName) {
  return std::strcmp(errorName, "org.freedesktop.DBus.Error.ServiceUnknown") == 0 ||
         std::strcmp(errorName, "org.freedesktop.DBus.Error.NameHasNoOwner") == 0;
}

}  // namespace

/// Passes the answers on to the runner, until that goes. The handlers of the reports share it, because one may run
/// while the runner is destroyed.
class CommandRunner::Answers {
 public:
  explicit Answers(CommandRunner& runner) : runner_(&runner) {}

  void pass(const Answer& answer) {
    MutexLock lock(mutex_);
    if (runner_) runner_->answered(answer);
  }
  void end() {
    MutexLock lock(mutex_);
    runner_ = nullptr;
  }

 private:
  Mutex mutex_;  // comes before the runner's
  CommandRunner* runner_ HEVRA_GUARDED_BY(mutex_);
};

CommandRunner::CommandRunner(Shared::Pointer<Bus::Connection> connection, std::string client, std::string path,
                             const Time::Elapsed& pace, NodeTable& nodes, Faults& faults)
    : connection_(std::move(connection)),
      client_(std::move(client)),
      path_(std::move(path)),
      pace_(pace),
      nodes_(nodes),
      faults_(faults),
      answers_(std::make_shared<Answers>(*this)),
      wake_([this] { schedule(); }) {}

CommandRunner::~CommandRunner() {
  // First, because these schedule the task.
  answers_->end();
  wake_.retire();
  retire();
}

void CommandRunner::submit(std::vector<Job> jobs) {
  const Time::Monotonic now = Time::Clock::get().now();
  MutexLock lock(mutex_);
  for (Job& job : jobs) waiting_.emplace(now, std::move(job));
  schedule();
}

void CommandRunner::cancel(const std::function<bool(const Job&)>& chosen) {
  const Time::Monotonic now = Time::Clock::get().now();
  MutexLock lock(mutex_);
  Jobs cancelled;
  for (auto next = waiting_.begin(); next != waiting_.end();) {
    const auto position = next++;
    if (!chosen(position->second)) continue;
    Jobs::node_type job = waiting_.extract(position);
    job.key() = now;
    job.mapped().cancelled = true;
    cancelled.insert(cancelled.end(), std::move(job));
  }
  waiting_.merge(cancelled);
  if (inHand_ && chosen(inHand_.mapped())) inHand_.mapped().cancelled = true;
  schedule();
}

void CommandRunner::drop() {
  Jobs dropped;
  MutexLock lock(mutex_);
  dropped.swap(waiting_);
  if (inHand_) inHand_.mapped().dropped = true;
}

std::size_t CommandRunner::getCommandCount() const {
  MutexLock lock(mutex_);
  return waiting_.size() + (inHand_ ? 1 : 0);
}

void CommandRunner::entry() {
  MutexLock lock(mutex_);
  if (isReporting_ && !answer_) return;  // goes on with the answer
  if (isReporting_) {
    finishReport();
  } else {
    inHand_ = {};  // a job is still here when its report raised an exception; it is given up
  }
  while (!isReporting_ && !waiting_.empty() && waiting_.begin()->first <= Time::Clock::get().now()) beginNext();
  if (!isReporting_ && !waiting_.empty()) wake_.at(waiting_.begin()->first);
}

void CommandRunner::beginNext() {
  inHand_ = waiting_.extract(waiting_.begin());
  Job& job = inHand_.mapped();
  Effect effect;
  const bool wasHeld = std::exchange(job.held, false);
  if (!wasHeld || (job.cancelled && job.command.getStatus() != Status::CANCELLED)) {
    step(job);
    effect = faults_.next("progress", job.group, {&job.command, 1});
  }
  if (effect.kind == Kind::DELAY || effect.kind == Kind::LATE) {
    Jobs::node_type node = std::move(inHand_);
    job.held = true;
    node.key() = Time::Clock::get().now() + (effect.kind == Kind::LATE ? Effect::LATE_REPORT : effect.time);
    waiting_.insert(std::move(node));
    return;
  }
  if (effect.kind == Kind::ERROR) fail(job, effect.code, effect.text);
  const bool isReported = effect.kind != Kind::RESTART && effect.kind != Kind::SILENCE;
  isTwice_ = effect.kind == Kind::DUPLICATE || (job.doubled >> (job.reports - 1) & 1);
  isWrong_ = effect.kind == Kind::WRONG_ARGUMENTS;
  {
    // Meanwhile other threads write only `cancelled` and `dropped` of the job, which are not read here.
    MutexUnlock unlock(mutex_);
    if (effect.kind == Kind::RESTART) {
      faults_.restart(effect.time);
    } else if (job.command.isWrite() && job.command.getStatus() == Status::COMPLETED) {
      nodes_.write(job.command);
    }
    if (isReported) report(job);
  }
  isReporting_ = isReported;
  if (!isReported) goOn(true);
}

void CommandRunner::finishReport() {
  isReporting_ = false;
  const Answer answer = *std::exchange(answer_, {});
  const Job& job = inHand_.mapped();
  const bool isRepeated = std::exchange(isTwice_, false);
  bool heard = false;
  {
    MutexUnlock unlock(mutex_);
    heard = isHeard(job, answer);
    if (heard && isRepeated) report(job);
  }
  isReporting_ = heard && isRepeated;
  if (!isReporting_) goOn(heard);
}

/// Puts the job in hand where its next report waits, unless it has ended or its originator has gone.
void CommandRunner::goOn(bool isHeard) {
  Jobs::node_type node = std::move(inHand_);
  const Job& job = node.mapped();
  if (!isHeard) waiting_.clear();
  if (!isHeard || job.dropped || Command::isFinalStatus(job.command.getStatus())) return;
  node.key() = Time::Clock::get().now() + (job.cancelled ? Time::Elapsed() : waitAfter(job));
  waiting_.insert(std::move(node));
}

void CommandRunner::step(Job& job) {
  const auto next = [&job] {
    if (job.cancelled) return Status::CANCELLED;
    switch (job.command.getStatus()) {
      case Status::INITIALIZED:
        return job.command.getDelay() > 0 ? Status::DELAYED : Status::TRANSMITTED;
      case Status::DELAYED:
        return Status::TRANSMITTED;
      case Status::TRANSMITTED:
        return Status::IN_PROGRESS;
      default:
        return job.fails ? Status::FAILED : Status::COMPLETED;
    }
  }();
  job.command.setStatus(next);
  ++job.reports;
  if (next == Status::FAILED) fail(job, ErrorCode(1, 1), "simulated failure");
}

void CommandRunner::fail(Job& job, const ErrorCode& code, const std::string& text) {
  job.command.setStatus(Status::FAILED);
  job.command.getDetailedError().setErrorCode(code);
  job.command.getDetailedError().setErrorFieldsToString(text);
}

Time::Elapsed CommandRunner::waitAfter(const Job& job) const {
  return job.command.getStatus() == Status::DELAYED ? job.delay : pace_;
}

void CommandRunner::report(const Job& job) {
  Bus::Message::Method::Call call;
  call.setDestination(client_);
  call.setPath(path_);
  call.setInterface(ORIGINATOR_INTERFACE);
  call.setMember("progress");
  call.setTimeout(REPLY_TIMEOUT);
  Bus::Message::Iterator arguments = call.begin();
  if (isWrong_) {
    arguments.append(std::uint8_t{0});
  } else {
    appendReport(arguments, job);
  }
  connection_->callAsync(std::move(call), [answers = answers_](const Answer& answer) { answers->pass(answer); });
}

void CommandRunner::answered(const Answer& answer) {
  {
    MutexLock lock(mutex_);
    answer_ = answer;
  }
  schedule();
}

/// Returns false when the originator has gone.
bool CommandRunner::isHeard(const Job& job, const Answer& answer) const {
  const Bus::Message::SendReturn reply = answer.get();
  if (!reply->isException()) return true;
  Log::printQuietly(Log::Priority::WARNING, "hevra-stackd> no answer to the progress of %s from %s%s: %s: %s",
                    job.getKey().c_str(), client_.c_str(), path_.c_str(), reply->getErrorName(), reply->getErrorText());
  return !saysGone(reply->getErrorName());
}

}  // namespace Quarnix::Hevra::Stack
