// Sorts the messages of a recording by the calls that they belong to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <json/Recording.h>

namespace Quarnix::Hevra::Stackd {

/// A recorded call of the service and what the service did because of it, in order: the reply, the progress calls of an
/// "add", and the signals that came before the next call.
struct RecordedCall {
  Json::RecordedMessage call;
  std::vector<Json::RecordedMessage> answers;
};

/// Returns the calls in the recording. Messages that belong to no call are left out.
std::vector<RecordedCall> callsIn(const std::vector<Json::RecordedMessage>& recording);

/// The arguments of an "add" that matter for its progress: the originator's path, and the identifiers of the group and
/// of the commands.
struct AddArguments {
  explicit AddArguments(const nlohmann::json& body);
  /// Returns the position of the command with this identifier; the number of commands when there is none.
  std::size_t positionOf(std::uint32_t id) const;

  std::string originator, group;
  std::vector<std::uint32_t> ids;
};

}  // namespace Quarnix::Hevra::Stackd
