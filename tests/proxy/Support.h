// What the tests of the proxies share: a stack service of a few lines on the in-process bus, an originator that keeps
// its reports, managers that keep what they are told, a logger whose lines can be waited for, and nodes as texts.
#pragma once

#include <functional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <bus/CommandWrapper.h>
#include <platform/bus/Error.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>
#include <tests/harness/BusObjects.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Hevra::Proxy::Test {

using Bus::Message::Method::Call;
using Bus::Message::Method::Return;
using Lines = std::vector<std::string>;

inline constexpr const char* SERVICE = "com.quarnix.Application.Hevra";
inline constexpr const char* COMMAND_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";
inline constexpr const char* NODE_PATH = "/com/quarnix/Application/Hevra/Manager/Node";
inline constexpr const char* NODE_INTERFACE = "com.quarnix.Application.Hevra.Manager.Node";
inline constexpr const char* COMMAND_INTERFACE = "com.quarnix.Application.Hevra.Manager.Command";
inline constexpr const char* ORIGINATOR_INTERFACE = "com.quarnix.Application.HevraZuv.Originator.Command";

using Texts = Harness::Recorder<std::string>;

/// Takes the lines without the prefix that the managers' lines share, and with their priority only where it is not
/// WARNING.
class LoggedLines : public Harness::CapturingLogger {
 public:
  Lines take() {
    Lines taken = CapturingLogger::take();
    for (std::string& line : taken)
      for (const char* prefix : {"4 ", "HV/ZUV proxy library> "})
        if (line.starts_with(prefix)) line.erase(0, std::string(prefix).size());
    return taken;
  }
};

/// One served object of a service of that name; answers with an empty return unless `answer` says otherwise,
/// and not at all without it.
class StackObject : public Harness::TestServer {
 public:
  StackObject(const char* name, const char* path)
      : TestServer(
            Bus::Connection::open("in-process"),
            [this](TestServer&, const Call& call) {
              if (answer) {
                Return reply = answer(call);
                send(reply);
              }
              return true;
            },
            path) {
    serve(*this, name);
  }
  ~StackObject() override { retire(); }

  std::function<Return(const Call&)> answer = [](const Call& call) { return Return(call); };
};

/// Keeps each report as "group_id own-status/status" and then does what it is told to.
class Client : public Interface::Command::Originator {
 public:
  explicit Client(std::function<void()> then = {}, std::function<void()> atEnd = {})
      : then_(std::move(then)), atEnd_(std::move(atEnd)) {}
  ~Client() override {
    if (atEnd_) atEnd_();
  }
  void progress(const Hevra::Command& command, const Group& group,
                const HomeAutomation::Command::Status& status) override {
    reports.add(group.getId() + "_" + std::to_string(command.getId()) + " " +
                std::to_string(static_cast<unsigned>(command.getStatus())) + "/" +
                std::to_string(static_cast<int>(status)));
    if (then_) then_();
  }

  Texts reports;

 private:
  std::function<void()> then_;
  std::function<void()> atEnd_;
};

/// Keeps the texts of "exception" signals.
class Listening : public Proxy::Command::Manager {
 public:
  using Manager::Manager;
  ~Listening() override { stop(); }
  Texts exceptions;

 protected:
  void exception(std::string message) override { exceptions.add(std::move(message)); }
};

/// A call to the originator of the application "app".
inline Call callBack(const std::string& destination, const char* interface = ORIGINATOR_INTERFACE,
                     const char* member = "progress") {
  Call call;
  call.setDestination(destination);
  call.setPath("/com/quarnix/Application/app/Hevra/Originator");
  call.setInterface(interface);
  call.setMember(member);
  return call;
}

/// The call with the arguments of "progress": the command, group "g" and status 2.
inline Call reportOf(Call call, const Hevra::Command& command) {
  Bus::Message::Iterator arguments = call.begin();
  Bus::Message::Iterator record = arguments.begin(Bus::Message::STRUCTURE);
  Bus::Type::Wrapper<Hevra::Command>().serialize(record, command);
  arguments.end(record);
  Bus::Message::Iterator group = arguments.begin(Bus::Message::STRUCTURE);
  group.append("g");
  arguments.end(group);
  arguments.append(2);
  return call;
}

/// "actuator 7" for one at address 7.
inline std::string nameOf(const Hevra::Node& node) {
  const char* kind = typeid(node) == typeid(RemoteActuatorNode)     ? "actuator "
                     : typeid(node) == typeid(RemoteControllerNode) ? "controller "
                     : typeid(node) == typeid(RemoteSensorNode)     ? "sensor "
                     : typeid(node) == typeid(StackNode)            ? "stack "
                                                                    : "other ";
  return kind + std::to_string(node.getAddress());
}

inline std::string namesOf(const std::vector<Shared::Pointer<Hevra::Node>>& nodes) {
  std::string names;
  for (const auto& node : nodes) names += (names.empty() ? "" : ", ") + nameOf(*node);
  return names;
}

/// Keeps its notifications as "modified sensor 7 by 2".
class Watcher : public Proxy::Node::Manager {
 public:
  using Manager::Manager;
  ~Watcher() override { stop(); }
  void modified(const Hevra::Node& node, NodeAction action) override {
    notifications.add("modified " + nameOf(node) + " by " + std::to_string(static_cast<int>(action)));
  }
  void linkModified(const Hevra::Node& node, const NodeLink& link, NodeAction action) override {
    notifications.add("linked " + nameOf(node) + " " + link.getLinkId() + " by " +
                      std::to_string(static_cast<int>(action)));
  }
  Texts notifications;
};

/// What a call gives, or the name of what it throws.
template <class Use>
std::string outcomeOf(const Use& use) {
  try {
    return use();
  } catch (const Return& error) {
    return error.getErrorName();
  } catch (const Exception& error) {
    const std::string id = error.getId();
    return id.substr(id.rfind('.') + 1);
  } catch (const std::bad_cast&) {
    return "bad_cast";
  }
}

}  // namespace Quarnix::Hevra::Proxy::Test
