// Reads the happenings of a scenario.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include <stack/Timeline.h>

namespace Quarnix::Hevra::Json {

/// `where` is the happening's place in the document. Raises Malformed.
Stack::Happening readHappening(const nlohmann::json& form, const std::string& where);

}  // namespace Quarnix::Hevra::Json
