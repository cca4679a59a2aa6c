// The local node: the radio stack itself.
#pragma once

#include <string>
#include <utility>

#include <platform/hevra/Node.h>

namespace Quarnix::Hevra {

/// The node of the gateway's own radio, with the key of its network. Keep the key and the old key secret. The blocks of
/// three and four bytes are carried unchanged, as Node says.
class HEVRA_EXPORT StackNode : public Node {
 public:
  using Key = std::array<std::uint8_t, 16>;
  using ShortBlock = std::array<std::uint8_t, 3>;
  using LongBlock = std::array<std::uint8_t, 4>;

  StackNode() noexcept : Node(NodeClass::STACK) {}
  ~StackNode() override;

  /// The third identity under its name in a stack node: the same bytes.
  const Key& getKey() const noexcept { return getThirdIdentity(); }
  /// Copies 16 bytes.
  void setKey(const unsigned char* key) noexcept { setThirdIdentity(key); }
  const Key& getOldKey() const noexcept { return oldKey_; }
  /// Copies 16 bytes.
  void setOldKey(const unsigned char* key) noexcept { copy(key, oldKey_); }
  /// Whether all 16 bytes are zero.
  static bool isKeyEmpty(const unsigned char* key) noexcept;

  const ShortBlock& getShortBlock() const noexcept { return shortBlock_; }
  /// Copies 3 bytes.
  void setShortBlock(const std::uint8_t* bytes) noexcept { copy(bytes, shortBlock_); }
  const LongBlock& getLongBlock() const noexcept { return longBlock_; }
  /// Copies 4 bytes.
  void setLongBlock(const std::uint8_t* bytes) noexcept { copy(bytes, longBlock_); }

  const std::string& getLabel() const noexcept { return label_; }
  void setLabel(std::string label) noexcept { label_ = std::move(label); }

 private:
  Key oldKey_{};
  ShortBlock shortBlock_{};
  LongBlock longBlock_{};
  std::string label_;
};

}  // namespace Quarnix::Hevra
