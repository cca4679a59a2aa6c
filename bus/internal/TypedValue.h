// How typed values are recognised, written and read: shared by the variant handler and the command record, which
// writes and reads its value without a handler in between. No part of the public interface.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <typeinfo>

#include <platform/bus/message/ConstIterator.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Bus::Type::TypedValue {

/// The classes in the order of TYPES, then what is none of them.
enum class Kind { BLOB, BYTE, UINT16, INT16, UINT32, INT32, UINT64, INT64, NOTHING, STRING, DOUBLE, BOOL, FOREIGN };

inline constexpr const std::type_info* TYPES[] = {
    &typeid(Hevra::HvBlob),   &typeid(Hevra::HvByte),   &typeid(Hevra::HvUInt16), &typeid(Hevra::HvInt16),
    &typeid(Hevra::HvUInt32), &typeid(Hevra::HvInt32),  &typeid(Hevra::HvUInt64), &typeid(Hevra::HvInt64),
    &typeid(Hevra::HvNull),   &typeid(Hevra::HvString), &typeid(Hevra::HvDouble), &typeid(Hevra::HvBool)};

/// Which class the object is of exactly; an empty pointer counts as HvNull. The first pass compares addresses, which
/// decides for every object of this library; the second compares names too.
inline Kind recognise(const Hevra::HvType* value) {
  if (!value) return Kind::NOTHING;
  const std::type_info& type = typeid(*value);
  for (std::size_t i = 0; i < std::size(TYPES); ++i)
    if (&type == TYPES[i]) return static_cast<Kind>(i);
  for (std::size_t i = 0; i < std::size(TYPES); ++i)
    if (type == *TYPES[i]) return static_cast<Kind>(i);
  return Kind::FOREIGN;
}

/// Calls `use` with what the object holds: bytes as a span, every other value as itself. Throws an `Unknown` for an
/// object of another class.
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

/// Builds the value that stands at `content`, whose signature is given, and steps over it. False, with nothing
/// touched, for a signature that no class has.
bool read(Message::ConstIterator& content, std::string_view signature, Shared::Pointer<Hevra::HvType>& value);

}  // namespace Quarnix::Bus::Type::TypedValue
