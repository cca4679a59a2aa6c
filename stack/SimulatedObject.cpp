// Answers calls, and applies faults to the answers.
#include <stack/SimulatedObject.h>

#include <cstdint>
#include <utility>

#include <stack/Interfaces.h>

namespace Quarnix::Hevra::Stack {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Kind = Effect::Kind;

SimulatedObject::SimulatedObject(Shared::Pointer<Bus::Connection> connection, const std::string& path,
                                 const std::vector<std::string>& interfaces, const Options& options, unsigned stream,
                                 Faults& faults)
    : options_(options), dice_(options.seed + stream), faults_(faults) {
  setConnection(std::move(connection));
  setPath(path);
  for (const std::string& interface : interfaces) description_ += describeInterface(interface);
  setDescription(description_.c_str());
}

const Submission& SimulatedObject::subjectOf(const Call&) {
  static const Submission NOTHING;
  return NOTHING;
}

Effect SimulatedObject::effectOn(const Call& call) {
  const bool refused = dice_.roll(options_.refuse);
  const bool silent = dice_.roll(options_.silent);
  const Submission& subject = subjectOf(call);
  Effect planned = faults_.next(call.getMember(), subject.group, subject.commands);
  if (planned.kind != Kind::NONE) return planned;
  if (refused) {
    return Effect::error("org.freedesktop.DBus.Error.Failed",
                         "The simulated stack refuses this " + std::string(call.getMember()));
  }
  return silent ? Effect::silence() : Effect();
}

bool SimulatedObject::method(const Call& call) {
  const Effect effect = effectOn(call);
  try {
    if (effect.kind == Kind::RESTART) {
      faults_.restart(effect.time);
      return true;
    }
    if (effect.kind == Kind::ERROR) {
      sendIfExpected(call, Return(call, effect.name.c_str(), effect.text));
      return true;
    }
    Return reply(call);
    if (!answer(call, reply)) return false;
    switch (effect.kind) {
      case Kind::SILENCE:
        break;
      case Kind::DELAY:
      case Kind::LATE:
        faults_.agenda().after(effect.kind == Kind::LATE ? Effect::LATE_REPLY : effect.time,
                               [this, call, reply]() mutable { sendIfExpected(call, std::move(reply)); });
        break;
      case Kind::WRONG_ARGUMENTS:
        reply = Return(call);
        reply.begin().append(std::uint8_t{0});
        sendIfExpected(call, std::move(reply));
        break;
      case Kind::DUPLICATE:
        sendIfExpected(call, Return(reply));
        [[fallthrough]];
      default:
        sendIfExpected(call, std::move(reply));
    }
  } catch (const InvalidArguments& error) {
    sendIfExpected(call, Return(call, "org.freedesktop.DBus.Error.InvalidArgs", error.what()));
  }
  return true;
}

void SimulatedObject::sendIfExpected(const Call& call, Return&& reply) {
  if (call.isReplyExpected()) send(reply);
}

void SimulatedObject::require(const Call& call, const std::string& signature, const std::string& words) {
  if (signature != call.getSignature()) refuseArguments(call, words);
}

void SimulatedObject::refuseArguments(const Call& call, const std::string& words) {
  const std::string given = call.getSignature();
  throw InvalidArguments(std::string(call.getMember()) + " was called with " +
                         (given.empty() ? "no arguments" : "the arguments " + given) + ", expected " + words);
}

}  // namespace Quarnix::Hevra::Stack
