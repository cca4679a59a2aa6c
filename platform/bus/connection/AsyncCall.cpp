// Ends asynchronous calls and calls their handlers.
#include <platform/bus/connection/AsyncCall.h>

#include <utility>

#include <platform/bus/PendingCall.h>
#include <platform/bus/connection/Exchange.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus {

Reply::Reply(Message::SendReturn reply)
    : outcome_(std::make_shared<const Internal::CallOutcome>(Internal::CallOutcome{std::move(reply)})) {}
Reply::Reply(std::exception_ptr error)
    : outcome_(std::make_shared<const Internal::CallOutcome>(Internal::CallOutcome{{}, std::move(error)})) {}
Reply::Reply(std::shared_ptr<const Internal::CallOutcome> outcome) noexcept : outcome_(std::move(outcome)) {}

const Message::SendReturn& Reply::get() const {
  if (outcome_->error) std::rethrow_exception(outcome_->error);
  return *outcome_->reply;
}

PendingCall::PendingCall(std::shared_ptr<Internal::AsyncCall> call) noexcept : call_(std::move(call)) {}
PendingCall::PendingCall(const PendingCall&) noexcept = default;
PendingCall::PendingCall(PendingCall&&) noexcept = default;
PendingCall& PendingCall::operator=(const PendingCall&) noexcept = default;
PendingCall& PendingCall::operator=(PendingCall&&) noexcept = default;
PendingCall::~PendingCall() = default;

void PendingCall::giveUp() noexcept {
  if (call_) call_->giveUp();
}

bool PendingCall::isPending() const noexcept { return call_ && call_->isPending(); }

namespace Internal {

AsyncCall::AsyncCall(Message::Method::Call&& message, std::string_view path, Host* host, Caller& caller,
                     ReplyHandler&& handler)
    : OwnedMessage{std::move(message)},
      Transaction({OwnedMessage::message, &(OwnedMessage::message), path, host, true, Time::Clock::get().now()}),
      caller_(caller),
      handler_(std::move(handler)) {}

AsyncCall::~AsyncCall() = default;

void AsyncCall::end(Message::Method::Return with) noexcept {
  reply.emplace(std::move(with));
  over();
}

void AsyncCall::fail(std::exception_ptr with) noexcept {
  error = std::move(with);
  over();
}

void AsyncCall::over() noexcept {
  leave();
  Life pending = Life::PENDING;
  if (!life_.compare_exchange_strong(pending, Life::ENDED)) return;
  delivery_->call = shared_from_this();
  caller_.ended(std::move(delivery_));
}

void AsyncCall::hear() {
  Life ended = Life::ENDED;
  if (!life_.compare_exchange_strong(ended, Life::HEARD)) return;
  const ReplyHandler handler = std::exchange(handler_, nullptr);
  if (!error && !reply) {
    const std::shared_ptr<Exchange> connection = state == State::LOST ? connection_.lock() : nullptr;
    reply.emplace(connection ? connection->lossError() : Message::Method::Return(Message::Method::Call()));
  }
  handler(Reply(shared_from_this()));
}

void AsyncCall::enter(const std::shared_ptr<Exchange>& connection, AsyncCalls& calls, const Time::Monotonic& deadline) {
  place_ = calls.add(shared_from_this(), deadline);
  calls_ = &calls;
  connection_ = connection;
}

void AsyncCall::leave() noexcept {
  if (AsyncCalls* const calls = std::exchange(calls_, nullptr)) calls->remove(place_);
}

ReplyHandler AsyncCall::takeHandler() noexcept {
  Life present = Life::PENDING;
  if (!life_.compare_exchange_strong(present, Life::GIVEN_UP)) {
    present = Life::ENDED;
    if (!life_.compare_exchange_strong(present, Life::GIVEN_UP)) return nullptr;
  }
  return std::exchange(handler_, nullptr);
}

void AsyncCall::giveUp() noexcept {
  const ReplyHandler released = takeHandler();
  if (!released) return;
  if (const std::shared_ptr<Exchange> connection = connection_.lock()) connection->withdraw(*this);
}

}  // namespace Internal
}  // namespace Quarnix::Bus
