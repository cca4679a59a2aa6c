// The command manager of the simulated stack. Its interfaces are those of the variants; its object is one for both.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <stack/Radio.h>
#include <stack/SimulatedObject.h>

namespace Quarnix::Hevra::Stack {

/// Serves "add" and the three "cancel" of each variant.
///
/// "add" takes an originator's path, a group and commands, which it hands to the radio as they are; only their status
/// and the text of their error begin anew. "cancel" counts for the commands of the variant that it is sent to,
/// whoever sent them: all of them, those with a key (the group's identifier, "_" and the command's), or those whose
/// Acei has a priority level. It is answered alike whether there was one or not; a cancelled command reports CANCELLED.
class CommandManager final : public SimulatedObject {
 public:
  /// The table and the faults must outlive the manager.
  CommandManager(Shared::Pointer<Bus::Connection> connection, const Options& options, NodeTable& nodes, Faults& faults);
  ~CommandManager() override;

  /// Sends the signal "exception" for each variant. Raises Bus::InvalidArgument for what is no UTF-8 without NUL. Any
  /// thread.
  void announceException(const std::string& text);
  /// How many commands are in flight. Any thread.
  std::size_t getCommandCount() const { return radio_.getCommandCount(); }
  /// Drops what is in flight. Any thread.
  void dropCommands() { radio_.drop(); }
  /// The same, to be called after `stop`; returns when no report is under way.
  void endCommands() { radio_.clear(); }

 private:
  const Submission& subjectOf(const Bus::Message::Method::Call& call) override;
  bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) override;
  const Variant* variantOf(const Bus::Message::Method::Call& call) const;
  void add(const Bus::Message::Method::Call& call);
  void cancel(Variant variant, const Bus::Message::Method::Call& call);
  bool drawFate(Job& job);

  Radio radio_;
  Submission submission_;  // of the call that is being answered
};

}  // namespace Quarnix::Hevra::Stack
