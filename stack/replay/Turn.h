// A recording, put in the order of a conversation.
#pragma once

#include <string>
#include <vector>

#include <stack/forms/Recording.h>

namespace Quarnix::Hevra::Stack {

/// A recorded call of the service and what the service did about it, in its order: the reply, the progress calls of an
/// "add", and signals that no later call came before.
struct Turn {
  Forms::RecordedMessage call;
  std::vector<Forms::RecordedMessage> answers;
};

/// The turns of a recording; other messages are left out.
std::vector<Turn> turnsOf(const std::vector<Forms::RecordedMessage>& recording);

/// Where an "add" stands in its body: the path of the originator, the group's identifier, the commands' identifiers.
struct AddArguments {
  explicit AddArguments(const nlohmann::json& body);
  /// Which of the commands has the identifier; their number when none has.
  std::size_t positionOf(std::uint32_t id) const;

  std::string originator, group;
  std::vector<std::uint32_t> ids;
};

}  // namespace Quarnix::Hevra::Stack
