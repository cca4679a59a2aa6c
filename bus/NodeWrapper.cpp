// Writes and reads the head of the node records.
#include <bus/NodeWrapper.h>

#include <bus/internal/NodeRecord.h>

namespace Quarnix::Bus::Type {

void Wrapper<Hevra::Node>::serialize(Message::Iterator& iterator, const Hevra::Node& node) const {
  iterator.append(node.getAddress(), static_cast<std::uint8_t>(node.getNodeClass()), node.getNodeType(),
                  node.getManufacturerId());
  NodeRecord::appendBlocks(iterator, node.getFirstIdentity(), node.getSecondIdentity(), node.getThirdIdentity());
  iterator.append(node.getStamp(), static_cast<std::uint8_t>(node.getState()), node.getExtra(),
                  node.getBackboneAddress());
}

void Wrapper<Hevra::Node>::deserialize(Message::ConstIterator& iterator, Hevra::Node& node) const {
  std::uint32_t address = 0, extra = 0, backboneAddress = 0;
  std::uint8_t nodeClass = 0, manufacturerId = 0, state = 0;
  std::uint16_t nodeType = 0;
  std::uint64_t stamp = 0;
  iterator.read(address, nodeClass, nodeType, manufacturerId);
  node.setAddress(address);
  node.setNodeClass(static_cast<Hevra::NodeClass>(nodeClass));
  node.setNodeType(nodeType);
  node.setManufacturerId(manufacturerId);
  auto first = node.getFirstIdentity();
  NodeRecord::readBlock(iterator, first);
  node.setFirstIdentity(first.data());
  auto second = node.getSecondIdentity();
  NodeRecord::readBlock(iterator, second);
  node.setSecondIdentity(second.data());
  auto third = node.getThirdIdentity();
  NodeRecord::readBlock(iterator, third);
  node.setThirdIdentity(third.data());
  iterator.read(stamp, state, extra);
  iterator.get(backboneAddress);
  node.setStamp(stamp);
  node.setState(state);
  node.setExtra(extra);
  node.setBackboneAddress(backboneAddress);
}

std::string Wrapper<Hevra::Node>::signature() const { return std::string(NodeRecord::HEAD); }

Wrapper<Hevra::Node>::~Wrapper() = default;

}  // namespace Quarnix::Bus::Type
