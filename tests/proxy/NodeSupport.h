// What tests with a node manager share: one that keeps its notifications, and nodes and outcomes as texts.
#pragma once

#include <typeinfo>

#include <platform/bus/Error.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>
#include <proxy/node/Manager.h>
#include <tests/bus/NodeTexts.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy::Test {

inline constexpr const char* NODE_PATH = "/com/quarnix/Application/Hevra/Manager/Node";
inline constexpr const char* NODE_INTERFACE = "com.quarnix.Application.Hevra.Manager.Node";

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
