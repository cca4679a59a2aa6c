// Converts typed values to JSON and back.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/HvType.h>

namespace Quarnix::Hevra::Json {

/// Reads {"type": T, "value": V}; null gives a null pointer. `where` is the value's place in the document. Raises
/// Malformed.
Shared::Pointer<HvType> readValue(const nlohmann::json& form, const std::string& where);

/// Returns {"type": T, "value": V}, or null for a null pointer.
nlohmann::ordered_json writeValue(const Shared::Pointer<HvType>& value);

}  // namespace Quarnix::Hevra::Json
