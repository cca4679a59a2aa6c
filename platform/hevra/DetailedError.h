// A command's error: its code and what there is to say about it.
#pragma once

#include <charconv>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/ErrorCode.h>
#include <platform/hevra/ErrorField.h>

namespace Quarnix::Hevra {

/// An error code with details: either fields, which an application gives, or a text. On the bus only the code and
/// `toString` travel; what is read back is a text.
class HEVRA_EXPORT DetailedError {
 public:
  const ErrorCode& getErrorCode() const noexcept { return code_; }
  void setErrorCode(const ErrorCode& code) noexcept { code_ = code; }

  const std::vector<Shared::Pointer<ErrorField>>& getErrorFields() const noexcept { return fields_; }
  void setErrorFields(std::vector<Shared::Pointer<ErrorField>> fields) noexcept { fields_ = std::move(fields); }

  const std::string& getErrorFieldsToString() const noexcept { return fieldsText_; }
  /// Replaces the text; an empty one lets the fields speak again.
  void setErrorFieldsToString(std::string text) noexcept { fieldsText_ = std::move(text); }

  /// Whether there is more to say than the code.
  bool hasDetails() const noexcept { return !fieldsText_.empty() || !fields_.empty(); }
  /// "type/id" when there are no details, else "type/id: " and the text or, without a text, the fields' texts joined
  /// with ", ". Raises Shared::Exception::Nil where an empty pointer stands among those fields.
  std::string toString() const;

  /// Room for the code's text, at most "255/-2147483648".
  using CodeText = char[16];
  /// Writes the code's "type/id", without a NUL; what was written.
  std::string_view writeCode(CodeText& text) const noexcept {
    char* end = std::to_chars(text, text + sizeof text, unsigned{code_.getErrorType()}).ptr;
    *end++ = '/';
    end = std::to_chars(end, text + sizeof text, code_.getErrorId()).ptr;
    return {text, static_cast<std::size_t>(end - text)};
  }

 private:
  ErrorCode code_;
  std::vector<Shared::Pointer<ErrorField>> fields_;
  std::string fieldsText_;
};

}  // namespace Quarnix::Hevra
