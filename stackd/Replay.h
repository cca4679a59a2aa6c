// A service that answers from a recording. It simulates nothing: only what was recorded happens.
#pragma once

#include <memory>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <platform/core/Mutex.h>
#include <stack/Agenda.h>
#include <stack/Options.h>
#include <stackd/RecordedCall.h>

namespace Quarnix::Hevra::Stackd {

/// Answers a call as a recorded call of the same interface, member and arguments was answered: the first such call that
/// was not used yet, otherwise the last one. When none has the same arguments, the first unused call of the member is
/// taken. When that is missing too, the answer is the error "com.quarnix.Application.Error.NotRecorded". A call that
/// had no reply when it was recorded gets none.
///
/// The progress of an "add" goes to the originator, group and commands of the present call: what was reported of the
/// first recorded command is reported of the first present one, and so on.
///
/// Threads: `start` and `stop` from one thread, which is no task's.
class Replay {
 public:
  /// The answers follow a call after the time that they took when they were recorded, divided by the time scale; with a
  /// pace of zero, at once.
  Replay(const std::vector<Json::RecordedMessage>& recording, const Stack::Options& options,
         Shared::Pointer<Bus::Connection> connection);
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;
  ~Replay();

  /// See Stack::Service::start.
  void start();
  void stop();

 private:
  class Object;

  void answer(const Bus::Message::Method::Call& call);
  const RecordedCall* choose(const Bus::Message::Method::Call& call, const nlohmann::json& body);
  void play(const Bus::Message::Method::Call& call, const nlohmann::json& body, const RecordedCall& recorded,
            const Json::RecordedMessage& message);
  void report(const Bus::Message::Method::Call& call, const nlohmann::json& body, const RecordedCall& recorded,
              const Json::RecordedMessage& message);

  // Constant after construction.
  const bool atOnce_;
  const double timeScale_;
  const std::vector<Stack::Variant> variants_;
  const Shared::Pointer<Bus::Connection> connection_;
  const std::vector<RecordedCall> calls_;

  Mutex mutex_;
  std::vector<bool> used_ HEVRA_GUARDED_BY(mutex_);  // which of `calls_` were answered with
  Stack::Agenda agenda_;
  std::vector<std::unique_ptr<Object>> objects_;  // constant after construction
};

}  // namespace Quarnix::Hevra::Stackd
