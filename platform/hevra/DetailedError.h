// A command's error: its code and its details.
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

/// An error code with details, which are either fields that an application gives or a text. Only the code and the text
/// of `toString` travel on the bus, so that the details of an error from the bus are a text.
class HEVRA_EXPORT DetailedError {
 public:
  const ErrorCode& getErrorCode() const noexcept { return code_; }
  void setErrorCode(const ErrorCode& code) noexcept { code_ = code; }

  const std::vector<Shared::Pointer<ErrorField>>& getErrorFields() const noexcept { return fields_; }
  void setErrorFields(std::vector<Shared::Pointer<ErrorField>> fields) noexcept { fields_ = std::move(fields); }

  const std::string& getErrorFieldsToString() const noexcept { return fieldsText_; }
  /// Replaces the text. When it is empty, the fields are the details again.
  void setErrorFieldsToString(std::string text) noexcept { fieldsText_ = std::move(text); }

  /// Whether there are details.
  bool hasDetails() const noexcept { return !fieldsText_.empty() || !fields_.empty(); }
  /// "type/id" when there are no details, else "type/id: " and the text or, without a text, the fields' texts joined
  /// with ", ". Raises Shared::Exception::Nil when one of these fields is an empty pointer.
  std::string toString() const;

  /// Room for the code's text, which is at most "255/-2147483648".
  using CodeText = char[16];
  /// Writes the code's "type/id" without a NUL, and returns what it wrote.
  std::string_view writeCode(CodeText& text) const noexcept {
    char* end = writeNumber(text, code_.getErrorType());
    *end++ = '/';
    end = writeNumber(end, code_.getErrorId());
    return {text, static_cast<std::size_t>(end - text)};
  }

 private:
  static char* writeNumber(char* to, int number) noexcept {
    constexpr int LONGEST = 11;
    if (number < 0 || number > 9) return std::to_chars(to, to + LONGEST, number).ptr;
    *to = static_cast<char>('0' + number);
    return to + 1;
  }

  ErrorCode code_;
  std::vector<Shared::Pointer<ErrorField>> fields_;
  std::string fieldsText_;
};

}  // namespace Quarnix::Hevra
