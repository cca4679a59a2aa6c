// Serves an object: it takes calls and sends replies and signals.
#include <platform/bus/object/Server.h>

#include <platform/bus/connection/Client.h>

namespace Quarnix::Bus::Object {

using Message::Method::Call;
using Message::Method::Return;

Server::Server() = default;
Server::~Server() { retire(); }

void Server::send(Return& reply) { getConnection()->send(reply); }

void Server::send(Message::Signal& signal) { getConnection()->send(signal); }

void Server::start(bool wait) {
  getConnection();
  begin(wait);
}

void Server::stop() { end(); }

void Server::attach(bool wait) {
  serving_ = &getConnection()->client();
  serving_->serve(*this, getPath(), description_, caller_, wait);
}

void Server::detach() {
  if (serving_) serving_->withdraw(*this, getPath());  // null when no start has come so far
}

void Server::retire() noexcept {
  Server::stop();
  Task::retire();
}

bool Server::method(const Call&) { return false; }

void Server::deliver(Message::Frame frame, const Message::Header& header) {
  const Call call(std::move(frame), header);
  if (method(call) || !call.isReplyExpected()) return;
  Return reply(call, "org.freedesktop.DBus.Error.UnknownMethod",
               "No method " + std::string(call.getMember()) + "(" + call.getSignature() + ") in " +
                   call.getInterface() + " at " + getPath());
  send(reply);
}

void Server::refuse(Message::Frame frame, const Message::Header& header) {
  const Call call(std::move(frame), header);
  if (!call.isReplyExpected()) return;
  Return reply(call, "org.freedesktop.DBus.Error.UnknownObject", "The object at " + getPath() + " was stopped");
  send(reply);
}

std::string Server::describeKeptOut(unsigned count) const {
  return "Bus object " + getPath() + " refused " + std::to_string(count) + " calls from others than the owner of " +
         caller_;
}

}  // namespace Quarnix::Bus::Object
