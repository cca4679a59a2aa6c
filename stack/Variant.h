// The two variants of the stack service, and all names that the service has on the bus. The proxies have names of their
// own, so that a wrong name here or there is found.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Quarnix::Hevra::Stack {

enum class Variant { HEVRA, ZUV };

/// Returns what programs call the variant: "hevra" or "zuv".
constexpr const char* idOf(Variant variant) noexcept { return variant == Variant::ZUV ? "zuv" : "hevra"; }

/// Returns the variant with this id, if there is one.
constexpr std::optional<Variant> findVariant(std::string_view id) noexcept {
  for (const Variant variant : {Variant::HEVRA, Variant::ZUV})
    if (id == idOf(variant)) return variant;
  return std::nullopt;
}

/// All names of the service begin with it.
inline constexpr const char* NAME_PREFIX = "com.quarnix.Application.";

/// Returns "com.quarnix.Application.Hevra" or "com.quarnix.Application.Zuv".
inline std::string busNameOf(Variant variant) {
  return std::string(NAME_PREFIX) + (variant == Variant::ZUV ? "Zuv" : "Hevra");
}

/// The command manager: one object, on which each variant has an interface.
inline constexpr const char* COMMAND_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";
inline std::string commandInterfaceOf(Variant variant) { return busNameOf(variant) + ".Manager.Command"; }

/// The daughter board, which only the plain variant has.
inline constexpr const char* BOARD_PATH = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";
inline std::string boardInterface() { return busNameOf(Variant::HEVRA) + ".Manager.DaughterBoard"; }

/// The node manager: one object for each variant.
inline std::string nodePathOf(Variant variant) {
  return variant == Variant::ZUV ? "/com/quarnix/Application/Zuv/Manager/Node"
                                 : "/com/quarnix/Application/Hevra/Manager/Node";
}
inline std::string nodeInterfaceOf(Variant variant) { return busNameOf(variant) + ".Manager.Node"; }

/// The object of an application that takes the progress of its commands.
inline constexpr const char* ORIGINATOR_INTERFACE = "com.quarnix.Application.HevraZuv.Originator.Command";
inline std::string originatorPathOf(Variant variant, const std::string& application) {
  return "/com/quarnix/Application/" + application + (variant == Variant::ZUV ? "/Zuv" : "/Hevra") + "/Originator";
}

}  // namespace Quarnix::Hevra::Stack
