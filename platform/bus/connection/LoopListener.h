// Listens for a connection within Dispatcher::dispatch.
#pragma once

#include <cstdint>

#include <platform/bus/connection/Listener.h>
#include <platform/bus/connection/Opening.h>
#include <platform/core/dispatcher/internal/Loop.h>
#include <platform/core/dispatcher/internal/Source.h>
#include <platform/core/dispatcher/internal/Work.h>
#include <platform/core/timer/QueueEntry.h>

namespace Quarnix::Bus::Internal {

/// Whatever wakes it, the listener calls the body's `step` on the thread that dispatches: an event of the descriptor
/// that it watches, a time that has come, or `wake`. The step never waits. It says with `watch` and `await` what the
/// listener waits for then; otherwise only `wake` leads to the next step.
///
/// What hooks send within one dispatch leaves in few system calls: the first message at once, the others when the
/// dispatch ends.
///
/// Threads: see Listener. Only `step` calls `rest`, `watch` and `await`.
/// Ownership: the body stays until `awaitOut` has returned.
class LoopListener final : public Listener, private Loop::Source, private Loop::Work, private Timer::QueueEntry {
 public:
  class Body {
   public:
    /// Does what there is to do, without waiting. The mutex is free.
    virtual void step() noexcept = 0;
    /// Sends what was put off. The mutex is free.
    virtual void sendNow() noexcept = 0;

   protected:
    ~Body() = default;
  };

  LoopListener(Loop& loop, Body& body) noexcept;
  ~LoopListener() override;

  void start() override;
  bool readsAtOnce() const noexcept override { return false; }
  void wake() noexcept override;
  void arm(std::uint32_t events) noexcept override;
  void forget(const Transport* link) noexcept override;
  void stop() noexcept override;
  void awaitOut() noexcept override;

  /// Puts off what was queued just now, if it is not the first in this dispatch. Returns whether it did.
  bool putOff() noexcept;
  bool hasPutOff() const noexcept { return hasPutOff_; }
  /// It is being sent.
  void endPutOff() noexcept { hasPutOff_ = false; }

  /// Waits for nothing.
  void rest() noexcept;
  /// Watches the link's socket for these events, until `forget`.
  void watch(const Transport& link, std::uint32_t events) noexcept;
  /// Waits for an event of a descriptor, or for a time, until the next `rest`.
  void await(const Opening::Interest& interest) noexcept;

 private:
  enum class State : std::uint8_t { IDLE, STARTED, STOPPED };
  class Sending final : public Loop::Work {
   public:
    explicit Sending(Body& body) noexcept : body_(body) {}

   private:
    void run() noexcept override { body_.sendNow(); }

    Body& body_;
  };

  void ready(std::uint32_t) noexcept override { body_.step(); }
  void run() noexcept override { body_.step(); }
  void deadlineReached(const Time::Monotonic&) noexcept override { body_.step(); }
  void watchDescriptor(int descriptor, std::uint32_t events) noexcept;

  Loop& loop_;
  Body& body_;
  Sending sending_;
  State state_ = State::IDLE;
  bool hasPutOff_ = false;
  std::uint64_t round_ = 0;  // of the loop, in which something was sent last
  const Transport* watched_ = nullptr;
};

}  // namespace Quarnix::Bus::Internal
