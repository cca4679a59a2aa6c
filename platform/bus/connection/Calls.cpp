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
  } while (serial_ == 0 || waiting_.contains(serial_));
  return serial_;
}

void Calls::add(const std::shared_ptr<Transaction>& call) {
  waiting_.add(call);
  if (call->isInWindow) window_.enter();
}

void Calls::remove(const Transaction& call) noexcept {
  if (waiting_.remove(call) && call.isInWindow) window_.leave();
}

std::shared_ptr<Transaction> Calls::find(std::uint32_t serial, std::string_view sender, bool isError) const {
  std::shared_ptr<Transaction> call = waiting_.find(serial);
  if (!call || sender.empty()) return nullptr;
  const bool fromBus = sender == DRIVER_NAME && (isError || call->owner == DRIVER_NAME);
  return fromBus || call->mayBeAnsweredBy(sender) ? std::move(call) : nullptr;
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

/// Takes the calls that satisfy the condition out of the table, one after the other.
template <class Condition, class Use>
void Calls::forEachTaken(const Condition& condition, const Use& use) {
  std::size_t row = 0;
  while (const std::shared_ptr<Transaction> call = waiting_.takeNext(row, condition)) {
    if (call->isInWindow) window_.leave();
    use(call);
  }
}

void Calls::loseAll() noexcept {
  forEachTaken([](const Transaction&) { return true; },
               [this](const std::shared_ptr<Transaction>& call) {
                 if (call->state == State::SENT) end(call, State::LOST);
               });
}

void Calls::setOwner(const Host& host, const std::string& owner, std::uint64_t moment) {
  waiting_.forEach([&](Transaction& call) {
    if (call.request.host != &host || !call.owner.empty()) return;
    // A call that left before a former owner came back does not go to it anew: it has the call, or the bus answers it.
    if (call.isFormerOwner(owner) && call.isOlderThan(moment)) return;
    call.owner = owner;
    if (!owner.empty()) call.question = 0;
  });
}

bool Calls::changeOwner(const Host& host, const std::string& before, const std::string& now, std::uint64_t moment,
                        std::uint64_t question) {
  bool isContested = false;
  waiting_.forEach([&](Transaction& call) {
    if (before.empty() || call.request.host != &host || call.owner != before) return;
    const bool isHeld = call.isOlderThan(moment);
    if (!isHeld) call.former.push_back(std::exchange(call.owner, now));
    if (!isHeld && !now.empty()) return;
    call.question = question;
    isContested = true;
  });
  return isContested;
}

template <class Condition>
void Calls::failThose(const Condition& condition, const char* errorName, const std::string& text) {
  forEachTaken(condition, [&](const std::shared_ptr<Transaction>& call) { answer(call, {errorName, text}); });
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
