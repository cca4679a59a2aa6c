// Opens a link to a bus daemon.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/Authentication.h>
#include <platform/bus/connection/Opening.h>
#include <platform/bus/connection/SocketTransport.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

/// It tries the addresses in turn, until a bus answers at one of them:
///
///      CONNECTING ── accepted ──> AUTHENTICATING ── agreed ──> GREETING ── named ──> OPEN
///          ^ │                          │                         │
///          │ └──── failed ──────────────┴─────────────────────────┘
///          └────── at the next address; after the last one, the first failure is thrown
///
/// The lines of the authentication, the greeting and the flight leave together, before anything is read.
class SocketOpening final : public Opening {
 public:
  /// `deadline`: when it fails. `admission` must outlive the link. `flight`: messages for the bus.
  SocketOpening(std::vector<Address> addresses, const Time::Monotonic& deadline, Admission& admission,
                std::string flight);
  ~SocketOpening() override;

  std::optional<Interest> proceed() override;
  std::shared_ptr<Transport> take() noexcept override;

 private:
  enum class State { CONNECTING, AUTHENTICATING, GREETING, OPEN };
  using Wait = std::optional<Interest>;

  Wait step();
  Wait connect();
  Wait authenticate();
  Wait greet();
  Wait flush();
  [[noreturn]] void failAuthentication(int error) const;
  Interest awaiting(short events) const noexcept;
  void readName(const Received& answer);
  void fail(const Message::Method::Return& error);

  const std::vector<Address> addresses_;
  const Time::Monotonic deadline_;
  Admission& admission_;
  const std::string flight_;
  std::size_t address_ = 0;  // the one that is tried
  State state_ = State::CONNECTING;
  std::shared_ptr<SocketTransport> transport_;
  std::optional<Authentication> authentication_;
  std::string output_;  // what is still to be written
  std::vector<Received> arrived_;
  std::optional<Message::Method::Return> failure_;
};

}  // namespace Quarnix::Bus::Internal
