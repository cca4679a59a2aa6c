// Texts from elsewhere, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace Quarnix::Hevra::Stack::Forms {

/// The text in one line: a line break becomes a space, every other control character, the overrides, embeddings and
/// isolates of bidirectional text, the separators of lines and paragraphs, and every byte that is not of UTF-8, its
/// number such as "\x1b".
std::string printable(std::string_view text);

/// JSON, in which the same characters but for the ends of lines are escaped, such as "\u009b".
std::string printableJson(std::string_view text);

}  // namespace Quarnix::Hevra::Stack::Forms
