// Writes the typed values of commands into variants, and reads them from there.
#pragma once

#include <string>

#include <platform/bus/type/VariantHandler.h>
#include <platform/core/Exception.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/HvType.h>

namespace Quarnix::Bus::Type {

/// Holds one typed value, or none. Wrapper<VariantHandler> writes it, or replaces it by what it reads.
///
/// The signature of the variant's content tells which class the value is of. HvNull, no value and an empty HvBlob all
/// travel as an empty array of bytes, which is read back as an empty HvBlob. The object must be of exactly one of the
/// twelve classes; one of a derived class is refused. The value is shared, never copied.
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
  /// Reads the value and steps over it. For a signature that no class has, value and iterator stay as they are.
  void deserialize(Message::ConstIterator& iterator, const std::string& signature) override;
  std::string signature() const override;
  virtual void setValue(const Shared::Pointer<Hevra::HvType>& value);
  virtual Shared::Pointer<Hevra::HvType>& value();

 private:
  Shared::Pointer<Hevra::HvType> value_;
};

}  // namespace Quarnix::Bus::Type
