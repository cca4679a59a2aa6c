// Finds out which message belongs to which call.
#include <stack/replay/Turn.h>

#include <algorithm>

#include <bus/internal/RecordSignature.h>

namespace Quarnix::Hevra::Stack {

using Forms::RecordedMessage;
using nlohmann::json;

namespace {

constexpr const char* SERVICE = "com.quarnix.Application.";

bool isProgress(const RecordedMessage& message) {
  return message.member == "progress" && message.signature == Bus::Type::RecordSignature::PROGRESS;
}

bool reportsOf(const RecordedMessage& progress, const RecordedMessage& call) {
  if (call.member != "add" || call.signature != Bus::Type::RecordSignature::ADD || call.sender != progress.destination)
    return false;
  const AddArguments add(call.body);
  return add.originator == progress.path && add.group == progress.body[1][0].get_ref<const std::string&>() &&
         add.positionOf(progress.body[0][0].get<std::uint32_t>()) < add.ids.size();
}

/// The last turn that is `chosen`.
template <class Choice>
void addTo(std::vector<Turn>& turns, const RecordedMessage& message, const Choice& isChosen) {
  const auto found = std::find_if(turns.rbegin(), turns.rend(), [&](const Turn& turn) { return isChosen(turn.call); });
  if (found != turns.rend()) found->answers.push_back(message);
}

}  // namespace

std::vector<Turn> turnsOf(const std::vector<RecordedMessage>& recording) {
  std::vector<Turn> turns;
  for (const RecordedMessage& message : recording) {
    const bool isService = message.interface.starts_with(SERVICE);
    if (message.type == "call" && isProgress(message)) {
      addTo(turns, message, [&](const RecordedMessage& call) { return reportsOf(message, call); });
    } else if (message.type == "call" && isService && message.member != "progress") {
      turns.push_back({message, {}});
    } else if (message.type == "signal" && isService) {
      addTo(turns, message, [](const RecordedMessage&) { return true; });
    } else if (message.type == "return" || message.type == "error") {
      addTo(turns, message, [&](const RecordedMessage& call) {
        return call.sender == message.destination && call.serial == message.replySerial;
      });
    }
  }
  return turns;
}

AddArguments::AddArguments(const json& body)
    : originator(body[0][0].get<std::string>()), group(body[1][0].get<std::string>()) {
  for (const json& command : body[2]) ids.push_back(command[0].get<std::uint32_t>());
}

std::size_t AddArguments::positionOf(std::uint32_t id) const {
  return static_cast<std::size_t>(std::find(ids.begin(), ids.end(), id) - ids.begin());
}

}  // namespace Quarnix::Hevra::Stack
