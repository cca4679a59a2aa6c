// Changes the table and announces the changes.
#include <stack/NodeTable.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include <bus/NodeLinkWrapper.h>
#include <bus/internal/TypedValue.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>

namespace Quarnix::Hevra::Stack {

namespace {

void checkAction(NodeAction action) {
  if (action < NodeAction::ADDED || action > NodeAction::REMOVED) {
    throw std::invalid_argument("the action " + std::to_string(static_cast<std::int32_t>(action)) +
                                ", expected 0 (added), 1 (modified) or 2 (removed)");
  }
}

/// Refuses a node that could not be announced.
void checkNode(const AnyNode& node) {
  const NodeClass nodeClass = headOf(node).getNodeClass();
  if (kindOf(nodeClass) != node.index()) {
    throw std::invalid_argument("the class " + std::to_string(static_cast<std::uint32_t>(nodeClass)) + " of the node " +
                                std::to_string(headOf(node).getAddress()) + ", expected one of its kind's record");
  }
  Bus::Message::Method::Call scratch;
  Bus::Message::Iterator iterator = scratch.begin();
  append(iterator, node);
}

void checkNodes(const std::vector<AnyNode>& nodes) {
  std::set<std::uint32_t> addresses;
  for (const AnyNode& node : nodes) {
    checkNode(node);
    if (!addresses.insert(headOf(node).getAddress()).second)
      throw std::invalid_argument("two nodes of the address " + std::to_string(headOf(node).getAddress()));
  }
}

/// Returns the node as it is announced.
std::string recordOf(const AnyNode& node) {
  Bus::Message::Signal signal("/sample", "sample.Sample", "sample");
  Bus::Message::Iterator iterator = signal.begin();
  append(iterator, node);
  const Bus::Message::Frame frame = signal.seal(1, {});
  return {reinterpret_cast<const char*>(frame.data()), frame.size()};
}

std::uint32_t stateAfter(const HvType* value, std::uint32_t state) {
  using Kind = Bus::Type::TypedValue::Kind;
  state = (state + 1) & 0xFF;
  if (Bus::Type::TypedValue::recognise(value) == Kind::FOREIGN) return state;
  Bus::Type::TypedValue::visit<std::bad_cast>(value, [&](const auto& content) {
    if constexpr (std::is_integral_v<std::decay_t<decltype(content)>>) state = static_cast<std::uint8_t>(content);
  });
  return state;
}

auto hasAddress(std::uint32_t address) {
  return [address](const AnyNode& node) { return headOf(node).getAddress() == address; };
}

auto isLinkOf(std::uint32_t address, NodeLinkType type) {
  return [=](const NodeLink& link) { return link.getNodeAddress() == address && link.getLinkType() == type; };
}

}  // namespace

NodeTable::NodeTable(const std::vector<AnyNode>& nodes, Listener listener)
    : listener_(std::move(listener)), nodes_(nodes) {
  checkNodes(nodes);
}

void NodeTable::check(const AnyNode& node, NodeAction action) {
  checkAction(action);
  checkNode(node);
}

void NodeTable::check(const NodeLink& link, NodeAction action) {
  checkAction(action);
  Bus::Message::Method::Call scratch;
  Bus::Message::Iterator iterator = scratch.begin();
  Bus::Type::StructWrapper<NodeLink>().serialize(iterator, link);
}

std::vector<AnyNode> NodeTable::getNodes() const {
  MutexLock lock(mutex_);
  return nodes_;
}

std::optional<AnyNode> NodeTable::find(std::uint32_t address) const {
  MutexLock lock(mutex_);
  const auto found = std::find_if(nodes_.begin(), nodes_.end(), hasAddress(address));
  if (found == nodes_.end()) return std::nullopt;
  return *found;
}

bool NodeTable::modify(const AnyNode& node, NodeAction action) {
  check(node, action);
  {
    MutexLock lock(mutex_);
    const auto found = findNode(headOf(node).getAddress());
    if ((found == nodes_.end()) != (action == NodeAction::ADDED)) return false;
    if (action == NodeAction::REMOVED) {
      remove(found);
    } else {
      if (action == NodeAction::ADDED) {
        nodes_.push_back(node);
      } else {
        *found = node;
      }
      note(node, action);
    }
  }
  announce();
  return true;
}

bool NodeTable::modify(const NodeLink& link, NodeAction action) {
  check(link, action);
  {
    MutexLock lock(mutex_);
    const auto node = findNode(link.getNodeAddress());
    const auto stack = findNode(link.getStackAddress());
    if (node == nodes_.end() || stack == nodes_.end() || !std::holds_alternative<StackNode>(*stack)) return false;
    const auto found = std::find_if(links_.begin(), links_.end(), isLinkOf(link.getNodeAddress(), link.getLinkType()));
    if ((found == links_.end()) != (action == NodeAction::ADDED)) return false;
    Change change{*node, link, action};
    if (action == NodeAction::ADDED) {
      links_.push_back(link);
    } else if (action == NodeAction::MODIFIED) {
      *found = link;
    } else {
      change.link = *found;
      links_.erase(found);
    }
    changes_.push_back(std::move(change));
  }
  announce();
  return true;
}

void NodeTable::replace(const std::vector<AnyNode>& nodes) {
  checkNodes(nodes);
  {
    MutexLock lock(mutex_);
    for (auto node = nodes_.begin(); node != nodes_.end();)
      node = std::any_of(nodes.begin(), nodes.end(), hasAddress(headOf(*node).getAddress())) ? node + 1 : remove(node);
    for (const AnyNode& node : nodes) {
      const auto former = findNode(headOf(node).getAddress());
      if (former == nodes_.end()) {
        note(node, NodeAction::ADDED);
      } else if (former->index() != node.index() || recordOf(*former) != recordOf(node)) {
        note(node, NodeAction::MODIFIED);
      }
    }
    nodes_ = nodes;
  }
  announce();
}

bool NodeTable::setState(std::uint32_t address, std::uint8_t state) {
  {
    MutexLock lock(mutex_);
    const auto found = findNode(address);
    if (found == nodes_.end()) return false;
    headOf(*found).setState(state);
    note(*found, NodeAction::MODIFIED);
  }
  announce();
  return true;
}

bool NodeTable::changeKey(std::uint32_t address, const std::uint8_t* key) {
  {
    MutexLock lock(mutex_);
    const auto found = findNode(address);
    StackNode* const stack = found == nodes_.end() ? nullptr : std::get_if<StackNode>(&*found);
    if (!stack) return false;
    const StackNode::Key former = stack->getKey();
    stack->setOldKey(former.data());
    stack->setKey(key);
    note(*found, NodeAction::MODIFIED);
  }
  announce();
  return true;
}

void NodeTable::removeChildren(std::uint32_t address) {
  {
    MutexLock lock(mutex_);
    for (auto node = nodes_.begin(); node != nodes_.end();) {
      const Node& head = headOf(*node);
      node = head.getBackboneAddress() == address && head.getAddress() != address ? remove(node) : node + 1;
    }
  }
  announce();
}

void NodeTable::write(const Command& command) {
  {
    MutexLock lock(mutex_);
    const auto found = findNode(command.getAddress());
    if (found == nodes_.end()) return;
    Node& head = headOf(*found);
    head.setState(stateAfter(command.getValue().get(), head.getState()));
    note(*found, NodeAction::MODIFIED);
  }
  announce();
}

std::string NodeTable::getLinkId(std::uint32_t address, NodeLinkType type) const {
  MutexLock lock(mutex_);
  const auto found = std::find_if(links_.begin(), links_.end(), isLinkOf(address, type));
  return found == links_.end() ? "" : found->getLinkId();
}

NodeTable::Nodes::iterator NodeTable::findNode(std::uint32_t address) {
  return std::find_if(nodes_.begin(), nodes_.end(), hasAddress(address));
}

/// Removes the node with all links from or to it.
NodeTable::Nodes::iterator NodeTable::remove(Nodes::iterator node) {
  const std::uint32_t address = headOf(*node).getAddress();
  for (auto link = links_.begin(); link != links_.end();) {
    if (link->getNodeAddress() != address && link->getStackAddress() != address) {
      ++link;
      continue;
    }
    changes_.push_back({*findNode(link->getNodeAddress()), *link, NodeAction::REMOVED});
    link = links_.erase(link);
  }
  note(*node, NodeAction::REMOVED);
  return nodes_.erase(node);
}

/// While one thread announces, other threads leave their changes to it; so the changes stay in order.
void NodeTable::announce() {
  MutexLock lock(mutex_);
  if (announcing_) return;
  announcing_ = true;
  while (!changes_.empty()) {
    const Change change = std::move(changes_.front());
    changes_.pop_front();
    try {
      MutexUnlock unlock(mutex_);
      listener_(change);
    } catch (...) {
      announcing_ = false;
      throw;
    }
  }
  announcing_ = false;
}

}  // namespace Quarnix::Hevra::Stack
