// The base of the simulated stack's objects: it answers bad calls with errors and lets faults affect good ones.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <platform/bus/object/Server.h>
#include <stack/Dice.h>
#include <stack/Faults.h>
#include <stack/Options.h>

namespace Quarnix::Hevra::Stack {

/// Answers a call that `answer` does not know with the error "org.freedesktop.DBus.Error.UnknownMethod", a call with
/// wrong arguments with "...InvalidArgs", and a call that the dice refuse with "...Failed", each with a text. The plan
/// takes precedence over the dice.
///
/// Threads: everything here runs on the server's task.
class SimulatedObject : public Bus::Object::Server {
 protected:
  /// What `answer` raises when the member does not take the call's arguments.
  class InvalidArguments : public std::invalid_argument {
   public:
    using std::invalid_argument::invalid_argument;
  };

  /// The object describes itself with `interfaces`. `stream` distinguishes its sequence of draws from those of other
  /// objects. `faults` must outlive the object.
  SimulatedObject(Shared::Pointer<Bus::Connection> connection, const std::string& path,
                  const std::vector<std::string>& interfaces, const Options& options, unsigned stream, Faults& faults);

  /// The hook returns the group and the commands that a call concerns. It is called once for each call, before
  /// `answer`.
  virtual const Submission& subjectOf(const Bus::Message::Method::Call& call);

  /// The hook carries out a call and appends the return values. It returns false and does nothing when the object has
  /// no such interface or member.
  virtual bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) = 0;

  /// Raises InvalidArguments unless the call's arguments have this signature; `words` describe the expected arguments.
  static void require(const Bus::Message::Method::Call& call, const std::string& signature, const std::string& words);
  [[noreturn]] static void refuseArguments(const Bus::Message::Method::Call& call, const std::string& words);

  const Options options_;
  Dice dice_;

 private:
  bool method(const Bus::Message::Method::Call& call) final;
  Effect effectOn(const Bus::Message::Method::Call& call);
  void sendIfExpected(const Bus::Message::Method::Call& call, Bus::Message::Method::Return&& reply);

  Faults& faults_;
  std::string description_;
};

}  // namespace Quarnix::Hevra::Stack
