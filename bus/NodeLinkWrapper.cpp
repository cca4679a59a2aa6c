// Writes and reads the record of a link.
#include <bus/NodeLinkWrapper.h>

#include <bus/internal/NodeRecord.h>
#include <platform/bus/message/internal/Names.h>

namespace Quarnix::Bus::Type {

StructWrapper<Hevra::NodeLink>::~StructWrapper() = default;

void StructWrapper<Hevra::NodeLink>::serialize(Message::Iterator& iterator, const Hevra::NodeLink& link) const {
  Message::require(Message::checkText(link.getLinkId()), "link identifier", link.getLinkId());
  Message::Iterator structure = iterator.begin(Message::STRUCTURE);
  structure.append(link.getNodeAddress(), link.getStackAddress(), link.getLinkId(),
                   static_cast<std::int32_t>(link.getLinkType()));
  iterator.end(structure);
}

void StructWrapper<Hevra::NodeLink>::deserialize(Message::ConstIterator& iterator, Hevra::NodeLink& link) const {
  if (iterator.type() != Message::STRUCTURE) throw;
  Message::ConstIterator field = iterator.begin();
  std::uint32_t nodeAddress = 0, stackAddress = 0;
  std::string_view linkId;
  std::int32_t linkType = 0;
  field.read(nodeAddress, stackAddress, linkId, linkType);
  link.setNodeAddress(nodeAddress);
  link.setStackAddress(stackAddress);
  link.setLinkId(std::string(linkId));
  link.setLinkType(static_cast<Hevra::NodeLinkType>(linkType));
}

std::string StructWrapper<Hevra::NodeLink>::signature() const { return std::string(NodeRecord::LINK); }

}  // namespace Quarnix::Bus::Type
