// Recognises, writes and reads typed values, for the variant handler and for the command record. No part of the public
// interface.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <typeinfo>

#include <platform/bus/message/ConstIterator.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Bus::Type::TypedValue {

/// The classes in the order of TYPES, and FOREIGN for any other class.
enum class Kind { BLOB, BYTE, UINT16, INT16, UINT32, INT32, UINT64, INT64, NOTHING, STRING, DOUBLE, BOOL, FOREIGN };

inline constexpr const std::type_info* TYPES[] = {
    &typeid(Hevra::HvBlob),   &typeid(Hevra::HvByte),   &typeid(Hevra::HvUInt16), &typeid(Hevra::HvInt16),
    &typeid(Hevra::HvUInt32), &typeid(Hevra::HvInt32),  &typeid(Hevra::HvUInt64), &typeid(Hevra::HvInt64),
    &typeid(Hevra::HvNull),   &typeid(Hevra::HvString), &typeid(Hevra::HvDouble), &typeid(Hevra::HvBool)};

/// The exact class of the object. An empty pointer counts as HvNull. The first pass compares addresses, which is enough
/// for every object that this library makes; the second pass compares names.
inline Kind recognise(const Hevra::HvType* value) {
  if (!value) return Kind::NOTHING;
  const std::type_info& type = typeid(*value);
  for (std::size_t i = 0; i < std::size(TYPES); ++i)
    if (&type == TYPES[i]) return static_cast<Kind>(i);
  for (std::size_t i = 0; i < std::size(TYPES); ++i)
    if (type == *TYPES[i]) return static_cast<Kind>(i);
  return Kind::FOREIGN;
}

/// Calls `use` with what the object holds: bytes as a span, any other value as it is. Throws an `Unknown` for an object
/// of another class.
template <class Unknown, class Use>
void visit(const Hevra::HvType* value, Use&& use) {
  switch (recognise(value)) {
    case Kind::BLOB:
      return use(std::span<const std::uint8_t>(static_cast<const Hevra::HvBlob*>(value)->getValue()));
    case Kind::BYTE:
      return use(static_cast<const Hevra::HvByte*>(value)->getValue());
    case Kind::UINT16:
      return use(static_cast<const Hevra::HvUInt16*>(value)->getValue());
    case Kind::INT16:
      return use(static_cast<const Hevra::HvInt16*>(value)->getValue());
    case Kind::UINT32:
      return use(static_cast<const Hevra::HvUInt32*>(value)->getValue());
    case Kind::INT32:
      return use(static_cast<const Hevra::HvInt32*>(value)->getValue());
    case Kind::UINT64:
      return use(static_cast<const Hevra::HvUInt64*>(value)->getValue());
    case Kind::INT64:
      return use(static_cast<const Hevra::HvInt64*>(value)->getValue());
    case Kind::NOTHING:
      return use(std::span<const std::uint8_t>());
    case Kind::STRING:
      return use(static_cast<const Hevra::HvString*>(value)->getValue());
    case Kind::DOUBLE:
      return use(static_cast<const Hevra::HvDouble*>(value)->getValue());
    case Kind::BOOL:
      return use(static_cast<const Hevra::HvBool*>(value)->getValue());
    case Kind::FOREIGN:
      throw Unknown();
  }
}

/// Makes the value that stands at `content`, whose signature is given, and steps over it. Returns false for a signature
/// that no class has; then nothing has changed.
bool read(Message::ConstIterator& content, std::string_view signature, Shared::Pointer<Hevra::HvType>& value);

}  // namespace Quarnix::Bus::Type::TypedValue
