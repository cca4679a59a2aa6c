// Writes an error as a text. Here is the key function of ErrorField too.
#include <platform/hevra/DetailedError.h>

namespace Quarnix::Hevra {

ErrorField::~ErrorField() = default;

std::string DetailedError::toString() const {
  CodeText code;
  std::string text(writeCode(code));
  if (!hasDetails()) return text;
  text += ": ";
  if (!fieldsText_.empty()) return text += fieldsText_;
  const char* separator = "";
  for (const auto& field : fields_) {
    text += separator;
    text += field->toString();
    separator = ", ";
  }
  return text;
}

}  // namespace Quarnix::Hevra
