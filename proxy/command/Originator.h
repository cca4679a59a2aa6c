// The object that the stack service calls with the progress of commands.
#pragma once

#include <platform/bus/object/Server.h>
#include <platform/hevra/interface/command/Originator.h>

namespace Quarnix::Hevra::Proxy::Command {

/// Takes "progress" calls apart and hands them to its target, then answers them. It belongs to a command manager, which
/// sets its path, starts and stops it.
///
/// Threads: the target is called on the server's task, one report at a time.
class HEVRA_EXPORT Originator : public virtual Bus::Object::Server {
 public:
  /// The target is not owned and must outlive this.
  explicit Originator(Interface::Command::Originator* target);
  ~Originator() override;

  /// True when the call was a well-formed "progress". Otherwise it is logged and false; nobody is told of it then.
  bool method(const Bus::Message::Method::Call& call) override;
  /// Delivers a call whose signature `method` has found to be right. What the target raises goes on, and the call is
  /// not answered then. With another signature it raises the exception being handled again, and without one ends the
  /// process.
  void progressHandler(const Bus::Message::Method::Call& call);

 private:
  friend class Manager;  // retires it

  Interface::Command::Originator* target;
};

}  // namespace Quarnix::Hevra::Proxy::Command
