// Finds, answers and ends calls.
#include <platform/bus/connection/Calls.h>

#include <charconv>
#include <utility>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/ReaderRole.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using State = Transaction::State;
using Message::Method::Call;
using Message::Method::Return;

namespace {

std::string seconds(const Time::Elapsed& span) {
  char digits[32];
  const double value = static_cast<double>(span.getNanoseconds()) / 1e9;
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed).ptr;
  return std::string(digits, end) + " s";
}

}  // namespace

Return Calls::fullError() {
  return Return(LIMITS_EXCEEDED, "More than " + std::to_string(MAXIMUM) + " calls wait for a reply");
}

std::uint32_t Calls::nextSerial() noexcept {
  do {
    ++serial_;
  } while (serial_ == 0 || (!waiting_.empty() && waiting_.count(serial_)));
  return serial_;
}

void Calls::add(const std::shared_ptr<Transaction>& call) {
  waiting_.emplace(call->serial, call);
  if (call->isInWindow) window_.enter();
}

void Calls::remove(const Transaction& call) noexcept {
  if (waiting_.erase(call.serial) > 0 && call.isInWindow) window_.leave();
}

std::shared_ptr<Transaction> Calls::find(std::uint32_t serial, std::string_view sender, bool isError) const {
  const auto found = waiting_.find(serial);
  if (found == waiting_.end() || sender.empty()) return nullptr;
  const Transaction& call = *found->second;
  const bool fromBus = sender == DRIVER_NAME && (isError || call.owner == DRIVER_NAME);
  return fromBus || call.mayBeAnsweredBy(sender) ? found->second : nullptr;
}

void Calls::answer(const std::shared_ptr<Transaction>& call, Message::Method::Return reply) {
  remove(*call);
  if (call->isInWindow) {
    ++(reply.isException() ? counters_.callsFailed : counters_.callsAnswered);
    counters_.lastRoundTrip = Time::Clock::get().now() - call->request.begun;
  }
  call->reply.emplace(std::move(reply));
  call->state = State::ANSWERED;
  if (call->hasWaiter) {
    call->nextToWake = std::exchange(toWake_, call);
  } else {
    reader_.wakeIfFor(*call);
  }
  call->over();
}

void Calls::giveUp(Transaction& call) noexcept {
  remove(call);
  if (call.isInWindow) ++counters_.callsTimedOut;
  call.state = State::GIVEN_UP;
}

Return Calls::timeOut(const Call& call, const Host* host) {
  constexpr const char* NO_REPLY = "org.freedesktop.DBus.Error.NoReply";
  const std::string member = call.getMember();
  const std::string span = seconds(call.getTimeout());
  if (call.getTimeout() <= Time::Elapsed())
    return Return(NO_REPLY, "The call of " + member + " was not sent: its time-out of " + span + " is over");
  return Return(NO_REPLY,
                "No reply to " + member + " from " + (host ? host->name : call.getDestination()) + " within " + span);
}

void Calls::end(const std::shared_ptr<Transaction>& transaction, State state) noexcept {
  if (state == State::UNSENT && transaction->waitsForLink()) {
    transaction->state = State::WAITING;
    return window_.wait(transaction);
  }
  if (state == State::LOST && transaction->isInWindow) ++counters_.callsFailed;
  transaction->state = state;
  if (transaction->hasWaiter) transaction->changed.notifyOne();
  reader_.wakeIfFor(*transaction);
  transaction->over();
}

void Calls::loseAll() noexcept {
  while (!waiting_.empty()) {
    const std::shared_ptr<Transaction> call = waiting_.begin()->second;
    remove(*call);
    if (call->state == State::SENT) end(call, State::LOST);
  }
}

void Calls::setOwner(const Host& host, const std::string& owner, std::uint64_t moment) {
  for (const auto& [serial, call] : waiting_) {
    if (call->request.host != &host || !call->owner.empty()) continue;
    // A call that left before a former owner came back does not go to it anew: it has the call, or the bus answers it.
    if (call->isFormerOwner(owner) && call->isOlderThan(moment)) continue;
    call->owner = owner;
    if (!owner.empty()) call->question = 0;
  }
}

bool Calls::changeOwner(const Host& host, const std::string& before, const std::string& now, std::uint64_t moment,
                        std::uint64_t question) {
  bool isContested = false;
  for (const auto& [serial, call] : waiting_) {
    if (before.empty() || call->request.host != &host || call->owner != before) continue;
    const bool isHeld = call->isOlderThan(moment);
    if (!isHeld) call->former.push_back(std::exchange(call->owner, now));
    if (!isHeld && !now.empty()) continue;
    call->question = question;
    isContested = true;
  }
  return isContested;
}

template <class Condition>
void Calls::failThose(const Condition& condition, const char* errorName, const std::string& text) {
  for (auto entry = waiting_.begin(); entry != waiting_.end();) {
    const std::shared_ptr<Transaction> call = entry->second;
    ++entry;  // answering erases the entry
    if (condition(*call)) answer(call, {errorName, text});
  }
}

void Calls::failThoseAsked(std::uint64_t question, const char* errorName, const std::string& text) {
  failThose([question](const Transaction& call) { return call.question == question; }, errorName, text);
}

void Calls::failThoseHeldBy(std::string_view unique, const char* errorName, const std::string& text) {
  failThose([unique](const Transaction& call) { return call.isHeldBy(unique); }, errorName, text);
}

void Calls::wake(std::shared_ptr<Transaction> answered) noexcept {
  for (; answered; answered = std::move(answered->nextToWake)) answered->changed.notifyOne();
}

}  // namespace Quarnix::Bus::Internal
