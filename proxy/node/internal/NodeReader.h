// Reads node records whose kind is known by their signature only. Internal.
#pragma once

#include <string_view>

#include <platform/bus/message/ConstIterator.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/Node.h>

namespace Quarnix::Hevra::Proxy::Node {

/// Makes a node of the kind from the record at the iterator, and steps over the record.
using NodeReader = Shared::Pointer<Hevra::Node> (*)(Bus::Message::ConstIterator& record);

/// The reader for records of this signature; null if it is that of no kind.
NodeReader readerFor(std::string_view signature) noexcept;

}  // namespace Quarnix::Hevra::Proxy::Node
