// Writes a command to the bus and reads it back.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Bus::Type {

/// Fifteen values without a structure around them, "utbuviiyisusuyy": id, parameter, write, address, value, origin,
/// context, error type, error id, error text, delay, label, tag, status, acei.
///
/// Not everything comes back as it was. The error travels as its whole text, and reading puts that text into its error
/// fields. The delay's second part does not travel; reading sets it to 0. Of the status only the low byte travels.
template <>
class HEVRA_EXPORT Wrapper<Hevra::Command> {
 public:
  /// Raises HvTypeVariantHandler::UnknownTypeForSignature for a value of a class that cannot travel.
  virtual void serialize(Message::Iterator& iterator, const Hevra::Command& command) const;
  /// Reads into an existing command, field by field. The iterator stays on the last of the fifteen values. A value of
  /// an unknown type becomes an empty pointer. An invalid acei is logged and becomes (7, 0, 3); without a logger the
  /// operation raises Shared::Exception::Nil after it has read every other field.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::Command& command) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
