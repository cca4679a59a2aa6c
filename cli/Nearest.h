// Finds the words that somebody may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Hevra::Cli {

/// Returns those of `known` that begin with the word or differ from it in few letters, the nearest first; at most
/// three.
std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace Quarnix::Hevra::Cli
