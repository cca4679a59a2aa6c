// JSON documents from files and standard input.
#pragma once

#include <fstream>
#include <istream>
#include <string>

#include <nlohmann/json.hpp>

namespace Quarnix::Hevra::Stack::Forms {

struct Document {
  nlohmann::json value;
  std::string name;  // what errors call it
};

/// Reads a whole JSON document; `name` is what the errors call it. Raises Malformed with the line and the column, or,
/// for a key that stands twice in one object, with the object's place.
nlohmann::json readDocument(std::istream& input, const std::string& name);

/// Opens a file. Raises Malformed for one that cannot be read.
std::ifstream openFile(const std::string& file);

/// Reads a file, "-" for standard input. Raises Malformed, also for a file that cannot be read.
Document readFile(const std::string& file);

}  // namespace Quarnix::Hevra::Stack::Forms
