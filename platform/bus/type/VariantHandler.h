// Variants whose content an adapter writes and reads.
#pragma once

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// The adapter: it knows which types the variant may hold.
class HEVRA_EXPORT VariantHandler {
 public:
  virtual ~VariantHandler();
  /// Writes the held value into the open variant.
  virtual void serialize(Message::Iterator& iterator) const = 0;
  /// Takes the value at the iterator, which stands on the variant's content. `signature` is that of the content.
  virtual void deserialize(Message::ConstIterator& iterator, const std::string& signature) = 0;
  /// The signature of the held value.
  virtual std::string signature() const = 0;
};

/// Opens a variant, or enters one, and lets the handler write or read its content.
template <>
class HEVRA_EXPORT Wrapper<VariantHandler> {
 public:
  virtual ~Wrapper();
  virtual void serialize(Message::Iterator& iterator, const VariantHandler& handler) const;
  /// The iterator stays on the variant. Raises TypeMismatch for another value, and EndOfContainer at the end.
  virtual void deserialize(Message::ConstIterator& iterator, VariantHandler& handler) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
