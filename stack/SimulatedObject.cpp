// Answers, refuses or stays silent.
#include <stack/SimulatedObject.h>

#include <utility>

#include <stack/Interfaces.h>

namespace Quarnix::Hevra::Stack {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

SimulatedObject::SimulatedObject(Shared::Pointer<Bus::Connection> connection, const std::string& path,
                                 const std::vector<std::string>& interfaces, const Options& options, unsigned stream)
    : options_(options), dice_(options.seed + stream) {
  setConnection(std::move(connection));
  setPath(path);
  for (const std::string& interface : interfaces) description_ += describeInterface(interface);
  setDescription(description_.c_str());
}

bool SimulatedObject::method(const Call& call) {
  const bool refused = dice_.roll(options_.refuse);
  const bool silent = dice_.roll(options_.silent);
  try {
    if (refused) {
      sendIfExpected(call, Return(call, "org.freedesktop.DBus.Error.Failed",
                                  "The simulated stack refuses this " + std::string(call.getMember())));
      return true;
    }
    Return reply(call);
    if (!answer(call, reply)) return false;
    if (!silent) sendIfExpected(call, std::move(reply));
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
