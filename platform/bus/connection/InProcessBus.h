// The bus inside the process: it needs no daemon and no socket, and copies no body.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/connection/MatchRule.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

class Exchange;

/// It routes messages as a bus daemon does, and answers the calls that a connection makes to "org.freedesktop.DBus".
/// The process has one, made on first use and never destroyed.
///
/// Threads: any. The sender's thread hands a message over, with the bus's mutex held, so that all connections see
/// messages and changes of owners in one order. The order of locks is bus, connection, object.
class InProcessBus {
 public:
  static InProcessBus& get();

  /// A link for the client, under a unique name of its own.
  std::shared_ptr<Transport> attach(const std::shared_ptr<Exchange>& client) HEVRA_EXCLUDES(mutex_);

 private:
  class Link;
  using Return = Message::Method::Return;
  using Call = Message::Method::Call;

  struct Member {
    std::weak_ptr<Exchange> client;
    std::vector<MatchRule> rules;
    std::vector<std::string> names;
  };
  /// The clients that got something, and may have answers to send when the mutex is free.
  using Recipients = std::vector<std::shared_ptr<Exchange>>;

  void detach(const std::string& uniqueName) HEVRA_EXCLUDES(mutex_);
  void route(Link& from, const Message::Frame& frame) HEVRA_EXCLUDES(mutex_);

  void broadcast(const std::string& sender, const Received& message, Recipients& recipients) HEVRA_REQUIRES(mutex_);
  bool handTo(const std::string& uniqueName, const Received& message, Recipients& recipients) HEVRA_REQUIRES(mutex_);
  void reply(const std::string& to, Return&& answer, Recipients& recipients) HEVRA_REQUIRES(mutex_);
  void announceOwner(const std::string& name, const std::string& before, const std::string& now, Recipients& recipients)
      HEVRA_REQUIRES(mutex_);
  void callDriver(const std::string& sender, const Received& message, Recipients& recipients) HEVRA_REQUIRES(mutex_);
  Return answerCall(const std::string& sender, const Call& call, Recipients& recipients) HEVRA_REQUIRES(mutex_);
  // The methods of the bus itself.
  struct Question;
  template <class T>
  static Return answerWith(const Question& question, const T& value);
  Return hello(const Question& question) HEVRA_REQUIRES(mutex_);
  Return ping(const Question& question) HEVRA_REQUIRES(mutex_);
  Return listNames(const Question& question) HEVRA_REQUIRES(mutex_);
  Return nameHasOwner(const Question& question) HEVRA_REQUIRES(mutex_);
  Return getNameOwner(const Question& question) HEVRA_REQUIRES(mutex_);
  Return requestName(const Question& question) HEVRA_REQUIRES(mutex_);
  Return releaseName(const Question& question) HEVRA_REQUIRES(mutex_);
  Return addMatch(const Question& question) HEVRA_REQUIRES(mutex_);
  Return removeMatch(const Question& question) HEVRA_REQUIRES(mutex_);

  const std::string* ownerOf(const std::string& name) const HEVRA_REQUIRES(mutex_);

  Mutex mutex_;
  std::map<std::string, Member, std::less<>> members_ HEVRA_GUARDED_BY(mutex_);      // by unique name
  std::map<std::string, std::string, std::less<>> owners_ HEVRA_GUARDED_BY(mutex_);  // of the names that were asked for
  std::uint64_t next_ HEVRA_GUARDED_BY(mutex_) = 1;
  std::uint32_t serial_ HEVRA_GUARDED_BY(mutex_) = 0;
};

}  // namespace Quarnix::Bus::Internal
