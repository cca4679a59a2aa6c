// Finds the call that each message belongs to.
#include <stackd/RecordedCall.h>

#include <algorithm>

#include <bus/internal/RecordSignature.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stackd {

using Json::RecordedMessage;
using nlohmann::json;

namespace {

bool isProgress(const RecordedMessage& message) {
  return message.member == "progress" && message.signature == Bus::Type::RecordSignature::PROGRESS;
}

bool isProgressOf(const RecordedMessage& call, const RecordedMessage& progress) {
  if (call.member != "add" || call.signature != Bus::Type::RecordSignature::ADD || call.sender != progress.destination)
    return false;
  const AddArguments add(call.body);
  return add.originator == progress.path && add.group == progress.body[1][0].get_ref<const std::string&>() &&
         add.positionOf(progress.body[0][0].get<std::uint32_t>()) < add.ids.size();
}

/// Adds the message to the answers of the last call that `isWanted` accepts.
template <class Predicate>
void addTo(std::vector<RecordedCall>& calls, const RecordedMessage& message, const Predicate& isWanted) {
  const auto found =
      std::find_if(calls.rbegin(), calls.rend(), [&](const RecordedCall& recorded) { return isWanted(recorded.call); });
  if (found != calls.rend()) found->answers.push_back(message);
}

}  // namespace

std::vector<RecordedCall> callsIn(const std::vector<RecordedMessage>& recording) {
  std::vector<RecordedCall> calls;
  for (const RecordedMessage& message : recording) {
    const bool isService = message.interface.starts_with(Stack::NAME_PREFIX);
    if (message.type == "call" && isProgress(message)) {
      addTo(calls, message, [&](const RecordedMessage& call) { return isProgressOf(call, message); });
    } else if (message.type == "call" && isService && message.member != "progress") {
      calls.push_back({message, {}});
    } else if (message.type == "signal" && isService) {
      addTo(calls, message, [](const RecordedMessage&) { return true; });
    } else if (message.type == "return" || message.type == "error") {
      addTo(calls, message, [&](const RecordedMessage& call) {
        return call.sender == message.destination && call.serial == message.replySerial;
      });
    }
  }
  return calls;
}

AddArguments::AddArguments(const json& body)
    : originator(body[0][0].get<std::string>()), group(body[1][0].get<std::string>()) {
  for (const json& command : body[2]) ids.push_back(command[0].get<std::uint32_t>());
}

std::size_t AddArguments::positionOf(std::uint32_t id) const {
  return static_cast<std::size_t>(std::find(ids.begin(), ids.end(), id) - ids.begin());
}

}  // namespace Quarnix::Hevra::Stackd
