// A bus that the test plays itself, byte by byte: it cuts the stream anywhere, breaks the rules, forges, holds back,
// does not read, goes and comes back.
#pragma once

#include <future>
#include <string>
#include <utility>

#include <platform/bus/message/internal/Check.h>
#include <tests/harness/BusObjects.h>

namespace Quarnix::Harness {

/// The unique names of the client and of the service behind NAME, and the bus's own.
constexpr const char *CLIENT = ":1.7", *SERVICE = ":1.9", *BUS = "org.freedesktop.DBus";

/// What the client reads: a message,
std::string bytesOf(Bus::Message::Base& message, const char* sender = SERVICE);
/// a reply with a text, or with the error that textOf writes as "!name",
std::string replyTo(const Call& call, const std::string& text, const char* sender = SERVICE);
/// the signal "Rang",
std::string ringing(const std::string& text, const char* sender = SERVICE);
/// or that NAME has changed hands.
std::string ownerChanged(const std::string& before, const std::string& now);

/// Listens on a socket of its own. All verbs run on the test's thread and wait, where they wait, for the client, whose
/// calls therefore run `later`. A client that does not do what the script expects fails the test.
class ScriptedBus {
 public:
  ScriptedBus();
  ~ScriptedBus();
  ScriptedBus(const ScriptedBus&) = delete;
  ScriptedBus& operator=(const ScriptedBus&) = delete;

  const std::string& address() const noexcept { return address_; }
  /// A connection that has been greeted.
  Shared::Pointer<Connection> connect();

  /// The next link.
  void accept();
  /// The link up to the greeting, whose call it returns; and with its answer.
  Call authenticate();
  void greet() { answer(authenticate(), CLIENT, BUS); }
  void close();
  /// From now on the client's socket takes as few bytes as the system allows.
  void narrow() const;

  /// Whether nothing is there to be read.
  bool hasReadAll() const;
  std::string line();
  /// The next message, `piece` bytes at a time.
  template <class T>
  T receive(std::size_t piece = 1 << 20) {
    Bus::Message::Header header;
    Bus::Message::Frame frame = frameOf(piece, header);
    return T(std::move(frame), header);
  }
  /// The next message, which is a call to `member`.
  Call expect(const char* member);

  void write(const std::string& bytes, std::size_t piece = std::string::npos);
  void answer(const Call& call, const std::string& text, const char* sender = SERVICE) {
    write(replyTo(call, text, sender));
  }
  /// The bus's own reply.
  template <class T>
  void grant(const Call& call, const T& value) {
    Return reply(call);
    reply.begin().append(value);
    write(bytesOf(reply, BUS));
  }

 private:
  std::string read(std::size_t count, std::size_t piece);
  Bus::Message::Frame frameOf(std::size_t piece, Bus::Message::Header& header);

  int listening_, socket_ = -1;
  std::string address_;
};

/// Runs it on a thread of its own.
template <class Act>
auto later(Act act) {
  return std::async(std::launch::async, std::move(act));
}

}  // namespace Quarnix::Harness
