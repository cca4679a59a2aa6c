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

CommandRunner::CommandRunner(Shared::Pointer<Bus::Connection> connection, std::string client, std::string path,
                             const Time::Elapsed& pace, NodeTable& nodes, Faults& faults)
    : connection_(std::move(connection)),
      client_(std::move(client)),
      path_(std::move(path)),
      pace_(pace),
      nodes_(nodes),
      faults_(faults),
      wake_([this] { schedule(); }) {
  MutexLock lock(inbox_->mutex);
  inbox_->runner = this;
}

CommandRunner::~CommandRunner() {
  drop();
  wake_.retire();  // these two first, because they schedule the task
  {
    MutexLock lock(inbox_->mutex);
    inbox_->runner = nullptr;
  }
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
  while (takeNext()) {
    const Effect::Kind effect = inHandEffect_;
    const bool isFirst = report_ == Report::NONE;
    report_ = Report::UNDER_WAY;
    --reportsLeft_;
    // Meanwhile other threads write only `cancelled` and `dropped` of the job, which are not read here.
    const Job& job = inHand_.mapped();
    MutexUnlock unlock(mutex_);
    if (isFirst && job.command.isWrite() && job.command.getStatus() == Status::COMPLETED) nodes_.write(job.command);
    try {
      report(job, effect);
    } catch (...) {
      answered(true);  // it is not repeated
      throw;
    }
  }
  if (!waiting_.empty()) wake_.at(waiting_.begin()->first);
}

/// Takes jobs in hand until one is to be reported. Returns false if none is, or if an answer is still to come.
bool CommandRunner::takeNext() {
  const Time::Clock& clock = Time::Clock::get();
  if (report_ == Report::UNDER_WAY) return false;
  if (report_ == Report::HEARD && reportsLeft_ > 0) return true;
  if (report_ != Report::NONE) putBack(report_ == Report::HEARD);
  while (!waiting_.empty() && waiting_.begin()->first <= clock.now()) {
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
      node.key() = clock.now() + (effect.kind == Kind::LATE ? Effect::LATE_REPORT : effect.time);
      waiting_.insert(std::move(node));
      continue;
    }
    if (effect.kind == Kind::ERROR) fail(job, effect.code, effect.text);
    inHandEffect_ = effect.kind;
    reportsLeft_ = effect.kind == Kind::DUPLICATE || (job.doubled >> (job.reports - 1) & 1) ? 2 : 1;
    if (effect.kind != Kind::RESTART && effect.kind != Kind::SILENCE) return true;
    {
      MutexUnlock unlock(mutex_);
      if (effect.kind == Kind::RESTART) {
        faults_.restart(effect.time);
      } else if (job.command.isWrite() && job.command.getStatus() == Status::COMPLETED) {
        nodes_.write(job.command);
      }
    }
    putBack(true);
  }
  return false;
}

/// Lets the job in hand wait for its next report, unless this was the last.
void CommandRunner::putBack(bool heard) {
  report_ = Report::NONE;
  Jobs::node_type node = std::move(inHand_);
  const Job& job = node.mapped();
  if (!heard) waiting_.clear();
  if (!heard || job.dropped || Command::isFinalStatus(job.command.getStatus())) return;
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
  return job.command.getStatus() == Status::DELAYED ? Time::Elapsed(job.command.getDelay(), 0) : pace_;
}

/// Calls "progress"; `answered` gets the answer.
void CommandRunner::report(const Job& job, Kind effect) {
  Bus::Message::Method::Call call;
  call.setDestination(client_);
  call.setPath(path_);
  call.setInterface(ORIGINATOR_INTERFACE);
  call.setMember("progress");
  call.setTimeout(REPLY_TIMEOUT);
  Bus::Message::Iterator arguments = call.begin();
  if (effect == Kind::WRONG_ARGUMENTS) {
    arguments.append(std::uint8_t{0});
  } else {
    appendReport(arguments, job);
  }
  connection_->callAsync(
      std::move(call), [inbox = inbox_, key = job.getKey(), to = client_ + path_](const auto& result) {
        const Bus::Message::SendReturn reply = result.get();
        if (reply->isException()) {
          Log::printQuietly(Log::Priority::WARNING, "hevra-stackd> no answer to the progress of %s from %s: %s: %s",
                            key.c_str(), to.c_str(), reply->getErrorName(), reply->getErrorText());
        }
        MutexLock lock(inbox->mutex);
        if (inbox->runner) inbox->runner->answered(!saysGone(reply->getErrorName()));
      });
}

void CommandRunner::answered(bool heard) {
  {
    MutexLock lock(mutex_);
    report_ = heard ? Report::HEARD : Report::NOT_HEARD;
  }
  schedule();
}

}  // namespace Quarnix::Hevra::Stack
