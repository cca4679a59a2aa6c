// What the objects of the simulated stack have in common: errors for bad calls, and the faults that befall good ones.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <platform/bus/object/Server.h>
#include <stack/Dice.h>
#include <stack/Faults.h>
#include <stack/Options.h>

namespace Quarnix::Hevra::Stack {

/// A call that `answer` does not know gets the error "org.freedesktop.DBus.Error.UnknownMethod", one whose arguments
/// are wrong "...InvalidArgs", one that the dice refuse "...Failed", each with a text. What the plan says of a call
/// goes before what the dice say.
///
/// Threads: as of any server; everything here runs on its task.
class SimulatedObject : public Bus::Object::Server {
 protected:
  /// Raised by `answer`: the arguments are not what the member takes.
  class InvalidArguments : public std::invalid_argument {
   public:
    using std::invalid_argument::invalid_argument;
  };

  /// `interfaces`: what it serves, for its description. `stream` gives the object a sequence of draws of its own. The
  /// faults must outlive the object.
  SimulatedObject(Shared::Pointer<Bus::Connection> connection, const std::string& path,
                  const std::vector<std::string>& interfaces, const Options& options, unsigned stream, Faults& faults);

  /// The hook: the group and the commands that a call is about; called once for each call, before `answer`.
  virtual const Submission& subjectOf(const Bus::Message::Method::Call& call);

  /// The hook: carries out a call and appends the return values. False, with nothing done, when there is no such
  /// interface or member here.
  virtual bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) = 0;

  /// Raises InvalidArguments unless the call's arguments are `signature`; `words` say what they are.
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
