// The adapter between the typed values of commands and the variants in which they travel.
#pragma once

#include <string>

#include <platform/bus/type/VariantHandler.h>
#include <platform/core/Exception.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/HvType.h>

namespace Quarnix::Bus::Type {

/// Holds one typed value, or none, for Wrapper<VariantHandler> to write or to replace by what it reads.
///
/// The signature of the variant's content tells the classes apart; HvNull, no value and an empty HvBlob all travel as
/// an empty array of bytes and are read back as an empty HvBlob. Only objects of exactly the twelve classes are
/// written, none of a class derived from them. The value is shared, never copied.
class HEVRA_EXPORT HvTypeVariantHandler : public virtual VariantHandler {
 public:
  /// Raised by `signature` for a value of another class than the twelve.
  class HEVRA_EXPORT UnknownTypeForSignature : public Quarnix::Exception {
   public:
    UnknownTypeForSignature() = default;
    ~UnknownTypeForSignature() override;
    const char* getId() const override;
  };

  /// Raised by `serialize` for a value of another class than the twelve, before anything is written.
  class HEVRA_EXPORT UnknownTypeForSerialization : public Quarnix::Exception {
   public:
    UnknownTypeForSerialization() = default;
    ~UnknownTypeForSerialization() override;
    const char* getId() const override;
  };

  HvTypeVariantHandler() = default;
  explicit HvTypeVariantHandler(const Shared::Pointer<Hevra::HvType>& value) : value_(value) {}
  ~HvTypeVariantHandler() override;

  void serialize(Message::Iterator& iterator) const override;
  /// Steps over the content. A signature that no class has leaves the held value and the iterator as they are.
  void deserialize(Message::ConstIterator& iterator, const std::string& signature) override;
  std::string signature() const override;
  virtual void setValue(const Shared::Pointer<Hevra::HvType>& value);
  virtual Shared::Pointer<Hevra::HvType>& value();

 private:
  Shared::Pointer<Hevra::HvType> value_;
};

}  // namespace Quarnix::Bus::Type
