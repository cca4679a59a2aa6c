// Finds the recorded call and does what was done then.
#include <stack/replay/Replay.h>

#include <functional>
#include <map>
#include <utility>

#include <bus/StackNodeWrapper.h>
#include <platform/core/log/Logger.h>
#include <stack/Interfaces.h>
#include <stack/Service.h>
#include <stack/forms/BodyForm.h>

namespace Quarnix::Hevra::Stack {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Forms::RecordedMessage;
using nlohmann::json;

/// One object of the recorded service.
class Replay::Stage : public Bus::Object::Server {
 public:
  Stage(Replay& replay, const std::string& path, std::string description)
      : replay_(replay), description_(std::move(description)) {
    setConnection(replay.connection_);
    setPath(path);
    setDescription(description_.c_str());
    setLargestQueue(MAXIMUM_QUEUED_MESSAGES, Service::LARGEST_CALL);
  }
  ~Stage() override { retire(); }

 private:
  bool method(const Call& call) override {
    replay_.answer(call);
    return true;
  }
  Replay& replay_;
  const std::string description_;
};

Replay::Replay(const std::vector<RecordedMessage>& recording, bool atOnce, std::vector<Variant> variants,
               Shared::Pointer<Bus::Connection> connection)
    : atOnce_(atOnce), variants_(std::move(variants)), connection_(std::move(connection)) {
  Bus::Type::StructWrapper<StackNode>::hideKeysInTraces();
  connection_->setLargestMessage(Service::LARGEST_CALL, Bus::Connection::LARGEST_REPLY);
  const std::string managers = "/com/quarnix/Application/HevraZuv/Manager/";
  std::map<std::string, std::string> paths = {{managers + "DaughterBoard", describeInterface(boardInterface())}};
  for (const Variant variant : variants_) {
    paths[managers + "Command"] += describeInterface(commandInterfaceOf(variant));
    paths[nodePathOf(variant)] = describeInterface(nodeInterfaceOf(variant));
  }
  for (Turn& turn : turnsOf(recording)) {
    paths[turn.call.path];  // one that the service does not have was called all the same
    parts_.push_back({std::move(turn)});
  }
  for (const auto& [path, description] : paths) stages_.push_back(std::make_unique<Stage>(*this, path, description));
}

Replay::~Replay() { stop(); }

void Replay::start() {
  try {
    for (const auto& stage : stages_) stage->start(true);
    for (const Variant variant : variants_) connection_->requestName(busNameOf(variant));
  } catch (...) {
    stop();
    throw;
  }
}

void Replay::stop() {
  for (const Variant variant : variants_) connection_->releaseName(busNameOf(variant));
  for (const auto& stage : stages_) stage->stop();
  agenda_.clear();
}

void Replay::answer(const Call& call) {
  const json body = Forms::writeBody(call);
  const Turn* const turn = choose(call, body);
  if (!turn) {
    Return error(call, "com.quarnix.Application.Error.NotRecorded",
                 "The recording has no call of " + std::string(call.getInterface()) + "." + call.getMember());
    connection_->send(error);
    return;
  }
  for (const RecordedMessage& message : turn->answers) {
    const Time::Elapsed wait =
        Time::Elapsed::ofNanoseconds(message.time.getNanoseconds() - turn->call.time.getNanoseconds());
    agenda_.after(atOnce_ ? Time::Elapsed() : wait,
                  [this, call, body, turn, &message] { play(call, body, *turn, message); });
  }
}

const Turn* Replay::choose(const Call& call, const json& body) {
  Part* alike = nullptr;    // the last with the same arguments
  Part* similar = nullptr;  // the first that was not played
  MutexLock lock(mutex_);
  for (Part& part : parts_) {
    const RecordedMessage& recorded = part.turn.call;
    if (recorded.interface != call.getInterface() || recorded.member != call.getMember()) continue;
    if (recorded.signature == call.getSignature() && recorded.body == body) {
      alike = &part;
      if (!part.played) break;
    }
    if (!part.played && !similar) similar = &part;
  }
  Part* const chosen = alike ? alike : similar;
  if (!chosen) return nullptr;
  chosen->played = true;
  return &chosen->turn;
}

void Replay::play(const Call& call, const json& body, const Turn& turn, const RecordedMessage& message) {
  if (message.type == "signal") {
    Bus::Message::Signal signal(message.path, message.interface.c_str(), message.member.c_str());
    Forms::appendBody(signal, message.signature, message.body, message.place);
    connection_->send(signal);
  } else if (message.type == "call") {
    report(call, body, turn, message);
  } else if (message.type == "error") {
    const bool hasText = message.signature.starts_with('s');
    Return error(call, message.error.c_str(), hasText ? message.body[0].get<std::string>() : "");
    connection_->send(error);
  } else {
    Return reply(call);
    Forms::appendBody(reply, message.signature, message.body, message.place);
    connection_->send(reply);
  }
}

/// Nobody waits for the answer: the recording tells what comes next, and a caller's hook may call us meanwhile.
void Replay::report(const Call& call, const json& body, const Turn& turn, const RecordedMessage& message) {
  const AddArguments recorded(turn.call.body);
  json arguments = message.body;
  Call progress;
  progress.setDestination(call.getSender());
  progress.setInterface(message.interface.c_str());
  progress.setMember(message.member.c_str());
  progress.setNoReplyExpected();
  if (turn.call.signature == call.getSignature()) {
    const AddArguments given(body);
    const std::size_t position = recorded.positionOf(arguments[0][0].get<std::uint32_t>());
    progress.setPath(given.originator);
    arguments[1][0] = given.group;
    if (position < given.ids.size()) arguments[0][0] = given.ids[position];
  } else {
    progress.setPath(message.path);
  }
  Forms::appendBody(progress, message.signature, arguments, message.place);
  connection_->call(progress);
}

}  // namespace Quarnix::Hevra::Stack
