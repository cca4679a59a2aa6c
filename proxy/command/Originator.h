// The object to which the stack service reports the progress of commands.
#pragma once

#include <platform/bus/object/Server.h>
#include <platform/hevra/interface/command/Originator.h>

namespace Quarnix::Hevra::Proxy::Command {

/// It reads the calls of "progress", hands them to its target, and answers them. It belongs to a command manager, which
/// sets its path, starts it and stops it.
///
/// Threads: it calls the target on the server's task, one report at a time.
class HEVRA_EXPORT Originator : public virtual Bus::Object::Server {
 public:
  /// Does not own the target, which must outlive it.
  explicit Originator(Interface::Command::Originator* target);
  ~Originator() override;

  /// Returns true if the call was a well-formed "progress". Otherwise it logs the call and returns false.
  bool method(const Bus::Message::Method::Call& call) override;
  /// Reads and hands on a call, whose signature `method` has compared. If the target raises an exception, it passes
  /// through, and the call is not answered. Precondition: the signature matches (see Bus::Type::Wrapper).
  void progressHandler(const Bus::Message::Method::Call& call);

 private:
  friend class Manager;  // retires it

  Interface::Command::Originator* target;
};

}  // namespace Quarnix::Hevra::Proxy::Command
