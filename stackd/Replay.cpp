// Finds the recorded call and repeats its answers.
#include <stackd/Replay.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <bus/StackNodeWrapper.h>
#include <json/BodyForm.h>
#include <stack/Interfaces.h>
#include <stack/Service.h>
#include <stack/TimeScale.h>

namespace Quarnix::Hevra::Stackd {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Json::RecordedMessage;
using nlohmann::json;
using Stack::describeInterface;
using Stack::Service;
using Stack::Variant;

/// One object of the recorded service.
class Replay::Object : public Bus::Object::Server {
 public:
  Object(Replay& replay, const std::string& path, std::string description)
      : replay_(replay), description_(std::move(description)) {
    setConnection(replay.connection_);
    setPath(path);
    setDescription(description_.c_str());
    setLargestQueue(MAXIMUM_QUEUED_MESSAGES, Service::LARGEST_CALL);
  }
  ~Object() override { retire(); }

 private:
  bool method(const Call& call) override {
    replay_.answer(call);
    return true;
  }
  Replay& replay_;
  const std::string description_;
};

Replay::Replay(const std::vector<RecordedMessage>& recording, const Stack::Options& options,
               Shared::Pointer<Bus::Connection> connection)
    : atOnce_(options.pace == Time::Elapsed()),
      timeScale_(options.timeScale),
      variants_(options.variants),
      connection_(std::move(connection)),
      calls_(callsIn(recording)),
      used_(calls_.size()) {
  Bus::Type::StructWrapper<StackNode>::hideKeysInTraces();
  connection_->setLargestMessage(Service::LARGEST_CALL, Bus::Connection::LARGEST_REPLY);
  std::map<std::string, std::string> paths = {{Stack::BOARD_PATH, describeInterface(Stack::boardInterface())}};
  for (const Variant variant : variants_) {
    paths[Stack::COMMAND_PATH] += describeInterface(commandInterfaceOf(variant));
    paths[nodePathOf(variant)] = describeInterface(nodeInterfaceOf(variant));
  }
  // Calls may have gone to paths that the service does not have; they were answered too.
  for (const RecordedCall& recorded : calls_) paths[recorded.call.path];
  for (const auto& [path, description] : paths) objects_.push_back(std::make_unique<Object>(*this, path, description));
}

Replay::~Replay() { stop(); }

void Replay::start() {
  try {
    for (const auto& object : objects_) object->start(true);
    for (const Variant variant : variants_) connection_->requestName(busNameOf(variant));
  } catch (...) {
    stop();
    throw;
  }
}

void Replay::stop() {
  for (const Variant variant : variants_) connection_->releaseName(busNameOf(variant));
  for (const auto& object : objects_) object->stop();
  agenda_.clear();
}

void Replay::answer(const Call& call) {
  const json body = Json::writeBody(call);
  const RecordedCall* const recorded = choose(call, body);
  if (!recorded) {
    Return error(call, "com.quarnix.Application.Error.NotRecorded",
                 "The recording has no call of " + std::string(call.getInterface()) + "." + call.getMember());
    connection_->send(error);
    return;
  }
  for (const RecordedMessage& message : recorded->answers) {
    const Time::Elapsed wait =
        Time::Elapsed::ofNanoseconds(message.time.getNanoseconds() - recorded->call.time.getNanoseconds());
    agenda_.after(atOnce_ ? Time::Elapsed() : Stack::scaled(wait, timeScale_),
                  [this, call, body, recorded, &message] { play(call, body, *recorded, message); });
  }
}

const RecordedCall* Replay::choose(const Call& call, const json& body) {
  constexpr std::size_t NONE = SIZE_MAX;
  std::size_t equal = NONE;    // the first unused call with the same arguments, otherwise the last one
  std::size_t similar = NONE;  // the first unused call of the member
  MutexLock lock(mutex_);
  for (std::size_t i = 0; i < calls_.size(); ++i) {
    const RecordedMessage& recorded = calls_[i].call;
    if (recorded.interface != call.getInterface() || recorded.member != call.getMember()) continue;
    if (recorded.signature == call.getSignature() && recorded.body == body) {
      equal = i;
      if (!used_[i]) break;
    }
    if (!used_[i] && similar == NONE) similar = i;
  }
  const std::size_t chosen = equal != NONE ? equal : similar;
  if (chosen == NONE) return nullptr;
  used_[chosen] = true;
  return &calls_[chosen];
}

void Replay::play(const Call& call, const json& body, const RecordedCall& recorded, const RecordedMessage& message) {
  if (message.type == "signal") {
    Bus::Message::Signal signal(message.path, message.interface.c_str(), message.member.c_str());
    Json::appendBody(signal, message.signature, message.body, message.place);
    connection_->send(signal);
  } else if (message.type == "call") {
    report(call, body, recorded, message);
  } else if (message.type == "error") {
    const bool hasText = message.signature.starts_with('s');
    Return error(call, message.error.c_str(), hasText ? message.body[0].get<std::string>() : "");
    connection_->send(error);
  } else {
    Return reply(call);
    Json::appendBody(reply, message.signature, message.body, message.place);
    connection_->send(reply);
  }
}

/// No answer is expected: the recording says what comes next, and the originator may call this service from its hook.
void Replay::report(const Call& call, const json& body, const RecordedCall& recorded, const RecordedMessage& message) {
  const AddArguments formerly(recorded.call.body);
  json arguments = message.body;
  Call progress;
  progress.setDestination(call.getSender());
  progress.setInterface(message.interface.c_str());
  progress.setMember(message.member.c_str());
  progress.setNoReplyExpected();
  if (recorded.call.signature == call.getSignature()) {
    const AddArguments now(body);
    const std::size_t position = formerly.positionOf(arguments[0][0].get<std::uint32_t>());
    progress.setPath(now.originator);
    arguments[1][0] = now.group;
    if (position < now.ids.size()) arguments[0][0] = now.ids[position];
  } else {
    progress.setPath(message.path);
  }
  Json::appendBody(progress, message.signature, arguments, message.place);
  connection_->call(progress);
}

}  // namespace Quarnix::Hevra::Stackd
