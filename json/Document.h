// Reads texts and JSON documents from files and standard input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace Quarnix::Hevra::Json {

struct Text {
  std::string text;
  std::string name;  // what errors call it
};

struct Document {
  nlohmann::json value;
  std::string name;  // what errors call it
};

/// The longest text that is read, and the deepest nesting of arrays and objects.
inline constexpr std::size_t MOST_BYTES = std::size_t{256} << 20;
inline constexpr std::size_t MOST_LEVELS = 128;

/// Reads a whole file; "-" is standard input. Raises Malformed when the file cannot be read or is longer than
/// MOST_BYTES.
Text readText(const std::string& file);

/// Reads a JSON document; `name` is what errors call it. Raises Malformed with the line and the column of a syntax
/// error. Raises it with the place in the document for a number that no double can hold, for a key that occurs twice in
/// an object, and for more than MOST_LEVELS levels.
nlohmann::json readDocument(std::string_view text, const std::string& name);

/// Reads a list of objects and returns it as an array. The text is a JSON array, or the objects one after another, as
/// `hevractl nodes --json` prints them. Raises what `readDocument` raises.
nlohmann::json readObjects(std::string_view text, const std::string& name);

/// Reads the JSON document in a file; "-" is standard input. Raises what `readText` and `readDocument` raise.
Document readFile(const std::string& file);
/// Reads the list of objects in a file in the same way.
Document readObjectFile(const std::string& file);

}  // namespace Quarnix::Hevra::Json
