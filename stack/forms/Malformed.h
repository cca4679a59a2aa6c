// The error of what people wrote: an option or a JSON form that is not what it should be.
#pragma once

#include <stdexcept>
#include <string>

namespace Quarnix::Hevra::Stack::Forms {

/// Its text is one line saying where it is, what was given and what was expected. Programs print it and end with 2.
class Malformed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  Malformed(const std::string& where, const std::string& given, const std::string& expected)
      : std::runtime_error(where + ": " + given + " given, expected " + expected) {}
};

}  // namespace Quarnix::Hevra::Stack::Forms
