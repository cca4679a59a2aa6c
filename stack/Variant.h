// The two variants of the stack service, and what differs between them on the bus.
#pragma once

#include <string>

namespace Quarnix::Hevra::Stack {

enum class Variant { HEVRA, ZUV };

/// "com.quarnix.Application.Hevra" or "com.quarnix.Application.Zuv".
inline std::string busNameOf(Variant variant) {
  return variant == Variant::ZUV ? "com.quarnix.Application.Zuv" : "com.quarnix.Application.Hevra";
}

/// The interface of the variant's command manager.
inline std::string commandInterfaceOf(Variant variant) { return busNameOf(variant) + ".Manager.Command"; }

/// The interface of the daughter board, which the plain variant alone has.
inline std::string boardInterface() { return busNameOf(Variant::HEVRA) + ".Manager.DaughterBoard"; }

/// The interface and the object of the variant's node manager.
inline std::string nodeInterfaceOf(Variant variant) { return busNameOf(variant) + ".Manager.Node"; }
inline std::string nodePathOf(Variant variant) {
  return variant == Variant::ZUV ? "/com/quarnix/Application/Zuv/Manager/Node"
                                 : "/com/quarnix/Application/Hevra/Manager/Node";
}

}  // namespace Quarnix::Hevra::Stack
