// Cancelling. The three calls share one member; the service tells them apart by their signatures.
#include <platform/bus/message/Names.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

void Manager::cancel() {
  Bus::Message::Method::Call call = callOf("cancel");
  request(call);
}

void Manager::cancel(const std::string& key) {
  Bus::Message::require(Bus::Message::checkText(key), "key to cancel", key);
  Bus::Message::Method::Call call = callOf("cancel");
  call.begin().append(key);
  request(call);
}

void Manager::cancel(const HomeAutomation::Command::Priority& priority) {
  Bus::Message::Method::Call call = callOf("cancel");
  call.begin().append(priority.getValue());
  request(call);
}

}  // namespace Quarnix::Hevra::Proxy::Command
