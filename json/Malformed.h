// The error for input that a person or a program wrote: a command-line option or a JSON document.
#pragma once

#include <stdexcept>
#include <string>

namespace Quarnix::Hevra::Json {

/// The text is one line that says where the fault is, what was given and what was expected. The programs print it and
/// end with status 2.
class Malformed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  Malformed(const std::string& where, const std::string& given, const std::string& expected)
      : std::runtime_error(where + ": " + given + " given, expected " + expected) {}
};

}  // namespace Quarnix::Hevra::Json
