// Variants whose content only an adapter knows.
#pragma once

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// Writes and reads the content of a variant; implemented by whoever knows the types that it may hold.
class HEVRA_EXPORT VariantHandler {
 public:
  virtual ~VariantHandler();
  /// Writes the held value into the open variant.
  virtual void serialize(Message::Iterator& iterator) const = 0;
  /// Takes the value at the iterator, which stands on the variant's content; `signature` is the content's.
  virtual void deserialize(Message::ConstIterator& iterator, const std::string& signature) = 0;
  /// The signature of the held value.
  virtual std::string signature() const = 0;
};

/// The variant itself: asks the handler for the signature, opens the variant and has the handler fill or read it.
template <>
class HEVRA_EXPORT Wrapper<VariantHandler> {
 public:
  virtual ~Wrapper();
  virtual void serialize(Message::Iterator& iterator, const VariantHandler& handler) const;
  /// Leaves the iterator on the variant. Raises TypeMismatch when another value stands there, and
  /// EndOfContainer at the end.
  virtual void deserialize(Message::ConstIterator& iterator, VariantHandler& handler) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
