// A link between a radio node and the stack node.
#pragma once

#include <cstdint>
#include <string>

#include <platform/hevra/NodeLinkType.h>

namespace Quarnix::Hevra {

/// A value. The identifier is the stack service's name for the link and may be any text.
class NodeLink {
 public:
  std::uint32_t getNodeAddress() const noexcept { return nodeAddress_; }
  void setNodeAddress(unsigned int address) noexcept { nodeAddress_ = address; }

  std::uint32_t getStackAddress() const noexcept { return stackAddress_; }
  void setStackAddress(unsigned int address) noexcept { stackAddress_ = address; }

  const std::string& getLinkId() const noexcept { return linkId_; }
  void setLinkId(const std::string& linkId) { linkId_ = linkId; }

  NodeLinkType getLinkType() const noexcept { return linkType_; }
  void setLinkType(NodeLinkType linkType) noexcept { linkType_ = linkType; }

 private:
  std::string linkId_;
  std::uint32_t nodeAddress_ = 0;
  std::uint32_t stackAddress_ = 0;
  NodeLinkType linkType_ = NodeLinkType::UNKNOWN;
};

}  // namespace Quarnix::Hevra
