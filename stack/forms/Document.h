// Texts and JSON documents from files and standard input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace Quarnix::Hevra::Stack::Forms {

struct Text {
  std::string text;
  std::string name;  // what errors call it
};

struct Document {
  nlohmann::json value;
  std::string name;
};

/// What a file has, "-" for standard input. Raises Malformed when it cannot be read, or has more than MOST_BYTES.
Text readText(const std::string& file);
inline constexpr std::size_t MOST_BYTES = std::size_t{256} << 20;

/// Reads a whole JSON document; `name` is what the errors call it. Raises Malformed with the line and the column, or,
/// for a number that no double holds, arrays and objects more than MOST_LEVELS deep in each other, and a key that
/// stands twice in one object, with the place.
nlohmann::json readDocument(std::string_view text, const std::string& name);
inline constexpr std::size_t MOST_LEVELS = 128;

/// Reads the document that a file has.
Document readFile(const std::string& file);

}  // namespace Quarnix::Hevra::Stack::Forms
