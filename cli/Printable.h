// Makes texts from elsewhere safe for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace Quarnix::Hevra::Cli {

/// Returns the text as one line. A line break becomes a space. Escaped as bytes, such as "\x1b", are all other control
/// characters, the characters that override, embed or isolate bidirectional text, the separators of lines and
/// paragraphs, and bytes that are not UTF-8.
std::string printable(std::string_view text);

/// Escapes the same characters in JSON, except the ends of lines, such as "\u009b".
std::string printableJson(std::string_view text);

}  // namespace Quarnix::Hevra::Cli
