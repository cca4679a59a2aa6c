// Commands that the command line of `send` gives without a file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <platform/hevra/Command.h>

namespace Quarnix::Hevra::Tools {

/// Each command writes one value to one node. The first has the identifier 1.
struct Writes {
  std::optional<std::uint32_t> delay;  // of each command, in seconds
  std::optional<std::string> label;    // of each command

  /// Reads an address, a type and a value for each command. The types are those of values in JSON; a value of bytes is
  /// hexadecimal digits. Raises Malformed.
  std::vector<Command> read(const std::vector<std::string>& words) const;
};

}  // namespace Quarnix::Hevra::Tools
