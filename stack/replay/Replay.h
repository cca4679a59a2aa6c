// A service that answers from a recording: nothing is simulated, and nothing happens that was not recorded.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <platform/core/Mutex.h>
#include <stack/Agenda.h>
#include <stack/Variant.h>
#include <stack/replay/Turn.h>

namespace Quarnix::Hevra::Stack {

/// A call is answered as the recorded one of its interface, member and arguments was: the first that was not answered
/// with yet, else the last. Where none has its arguments, as the first of its member that was not answered with yet.
/// What is left is answered with the error "com.quarnix.Application.Error.NotRecorded". A call that was recorded
/// without a reply gets none.
///
/// The progress of an "add" goes to the originator that the caller names, for its group and its commands, the first for
/// the first recorded one and so on.
///
/// Threads: `start` and `stop` from one thread, which is no task's.
class Replay {
 public:
  /// `atOnce`: everything follows the call without the time that it took when it was recorded.
  Replay(const std::vector<Forms::RecordedMessage>& recording, bool atOnce, std::vector<Variant> variants,
         Shared::Pointer<Bus::Connection> connection);
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;
  ~Replay();

  /// See Service::start.
  void start();
  void stop();

 private:
  class Stage;
  struct Part {
    Turn turn;
    bool played = false;
  };

  void answer(const Bus::Message::Method::Call& call);
  const Turn* choose(const Bus::Message::Method::Call& call, const nlohmann::json& body);
  void play(const Bus::Message::Method::Call& call, const nlohmann::json& body, const Turn& turn,
            const Forms::RecordedMessage& message);
  void report(const Bus::Message::Method::Call& call, const nlohmann::json& body, const Turn& turn,
              const Forms::RecordedMessage& message);

  const bool atOnce_;
  const std::vector<Variant> variants_;
  const Shared::Pointer<Bus::Connection> connection_;
  Mutex mutex_;
  std::vector<Part> parts_ HEVRA_GUARDED_BY(mutex_);  // grows no more: a turn that is given out stays
  Agenda agenda_;
  std::vector<std::unique_ptr<Stage>> stages_;  // one an object; constant after construction
};

}  // namespace Quarnix::Hevra::Stack
