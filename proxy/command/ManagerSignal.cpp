// The stack service's "exception" signal.
#include <platform/core/log/Logger.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

void Manager::signal(const Bus::Message::Signal& signal) {
  if (interfaceName != signal.getInterface()) return;
  if (std::string_view(signal.getMember()) != "exception") {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager exception unknown member: %s", signal.getMember());
    return;
  }
  if (Bus::Type::Wrapper<std::string>().signature() != signal.getSignature()) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager exception bad signature: %s",
                              signal.getSignature());
    return;
  }
  std::string message;
  signal.begin().get(message);
  exception(std::move(message));
}

void Manager::exception(std::string) {}

}  // namespace Quarnix::Hevra::Proxy::Command
