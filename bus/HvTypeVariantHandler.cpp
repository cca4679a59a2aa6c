// The adapter of the typed values, and its two errors.
#include <bus/HvTypeVariantHandler.h>

#include <bus/internal/TypedValue.h>

namespace Quarnix::Bus::Type {

namespace {

template <class T>
constexpr bool IS_BYTES = std::is_same_v<T, std::span<const std::uint8_t>>;

}  // namespace

HvTypeVariantHandler::UnknownTypeForSignature::~UnknownTypeForSignature() = default;

const char* HvTypeVariantHandler::UnknownTypeForSignature::getId() const {
  return "com.quarnix.Trellium.Application.Hevra.HvType.UnknownTypeForSignature";
}

HvTypeVariantHandler::UnknownTypeForSerialization::~UnknownTypeForSerialization() = default;

const char* HvTypeVariantHandler::UnknownTypeForSerialization::getId() const {
  return "com.quarnix.Trellium.Application.Hevra.HvType.UnknownTypeForSerialization";
}

HvTypeVariantHandler::~HvTypeVariantHandler() = default;

void HvTypeVariantHandler::serialize(Message::Iterator& iterator) const {
  TypedValue::visit<UnknownTypeForSerialization>(value_.get(), [&iterator]<class T>(const T& value) {
    if constexpr (IS_BYTES<T>) {
      iterator.appendBytes(value.data(), value.size());
    } else {
      iterator.append(value);
    }
  });
}

void HvTypeVariantHandler::deserialize(Message::ConstIterator& iterator, const std::string& signature) {
  TypedValue::read(iterator, signature, value_);
}

std::string HvTypeVariantHandler::signature() const {
  std::string_view signature;
  TypedValue::visit<UnknownTypeForSignature>(value_.get(), [&signature]<class T>(const T&) {
    if constexpr (IS_BYTES<T>) {
      signature = Message::BYTES;
    } else {
      signature = Message::SIGNATURE_OF<T>;
    }
  });
  return std::string(signature);
}

void HvTypeVariantHandler::setValue(const Shared::Pointer<Hevra::HvType>& value) {
  if (&value != &value_) value_ = value;
}

Shared::Pointer<Hevra::HvType>& HvTypeVariantHandler::value() { return value_; }

}  // namespace Quarnix::Bus::Type
