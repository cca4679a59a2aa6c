// The bus form of one command.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Bus::Type {

/// Fifteen values without a structure around them, "utbuviiyisusuyy": id, parameter, write, address, value, origin,
/// context, error type, error id, error text, delay, label, tag, status, acei. Two of them do not come back as they
/// went: the error is written as its whole text, which is read as its error-fields text; and the delay's companion is
/// not written and read as 0. Of the status only the low byte is written.
template <>
class HEVRA_EXPORT Wrapper<Hevra::Command> {
 public:
  /// Raises HvTypeVariantHandler::UnknownTypeForSignature for a value of a class that does not travel.
  virtual void serialize(Message::Iterator& iterator, const Hevra::Command& command) const;
  /// Reads into an existing command, field by field, and leaves the iterator on the last of the fifteen. A value of
  /// unknown type becomes an empty one. An invalid acei is logged and becomes (7, 0, 3); Shared::Exception::Nil where
  /// there is no logger for that, with every other field read.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::Command& command) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
