// Writes and reads the head of the node records.
#include <bus/NodeWrapper.h>

#include <bus/NodeRecord.h>

namespace Quarnix::Bus::Type {

void Wrapper<Hevra::Node>::serialize(Message::Iterator& iterator, const Hevra::Node& node) const {
  iterator.append(node.getAddress(), static_cast<std::uint8_t>(node.getNodeClass()), node.getNodeType(),
                  node.getManufacturerId());
  NodeRecord::appendBlock(iterator, node.getFirstIdentity());
  NodeRecord::appendBlock(iterator, node.getSecondIdentity());
  NodeRecord::appendBlock(iterator, node.getThirdIdentity());
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
  node.setFirstIdentity(NodeRecord::readBlock(iterator, node.getFirstIdentity()).data());
  node.setSecondIdentity(NodeRecord::readBlock(iterator, node.getSecondIdentity()).data());
  node.setThirdIdentity(NodeRecord::readBlock(iterator, node.getThirdIdentity()).data());
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
