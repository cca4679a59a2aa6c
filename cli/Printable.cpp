// Decides character by character, as the logger does.
#include <cli/Printable.h>

#include <cstdio>

#include <platform/core/log/internal/Character.h>

namespace Quarnix::Hevra::Cli {

std::string printable(std::string_view text) {
  std::string line;
  Log::escape(text, [&line](std::string_view piece) {
    line += piece;
    return true;
  });
  return line;
}

std::string printableJson(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const Log::Character character = Log::firstOf(text);
    if (character.isPrintable || text.front() == '\n') {
      shown += text.substr(0, character.length);
    } else {
      char number[8];
      std::snprintf(number, sizeof number, "\\u%04x", unsigned{character.code} & 0xFFFFU);
      shown += number;
    }
    text.remove_prefix(character.length);
  }
  return shown;
}

}  // namespace Quarnix::Hevra::Cli
