// The command manager of the simulated stack: one object, on which each variant has an interface.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <stack/Radio.h>
#include <stack/SimulatedObject.h>

namespace Quarnix::Hevra::Stack {

/// Serves "add" and the three forms of "cancel" for each variant.
///
/// "add" takes the path of an originator, a group and commands. It resets the status and the error text of each command
/// and hands the commands to the radio. "cancel" cancels commands of the variant that it is sent to, whoever added
/// them: all of them, the one with a key (the group's identifier, "_" and the command's identifier), or those whose
/// Acei has a priority level. Its answer is the same whether it found a command or not. A cancelled command reports
/// CANCELLED.
class CommandManager final : public SimulatedObject {
 public:
  /// `nodes` and `faults` must outlive the manager.
  CommandManager(Shared::Pointer<Bus::Connection> connection, const Options& options, NodeTable& nodes, Faults& faults);
  ~CommandManager() override;

  /// Sends the signal "exception" on the interface of each variant. Raises Bus::InvalidArgument when the text is not
  /// UTF-8 or has a NUL. Any thread.
  void announceException(const std::string& text);
  /// Returns the number of commands in flight. Any thread.
  std::size_t getCommandCount() const { return radio_.getCommandCount(); }
  /// Drops the commands in flight. Any thread.
  void dropCommands() { radio_.drop(); }
  /// Ends the commands in flight; no report begins when it returns. Call it after `stop`.
  void endCommands() { radio_.clear(); }

 private:
  const Submission& subjectOf(const Bus::Message::Method::Call& call) override;
  bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) override;
  const Variant* variantOf(const Bus::Message::Method::Call& call) const;
  void add(const Bus::Message::Method::Call& call);
  void cancel(Variant variant, const Bus::Message::Method::Call& call);
  bool drawFaults(Job& job);

  Radio radio_;
  Submission submission_;  // what the present call has submitted
};

}  // namespace Quarnix::Hevra::Stack
