// A command's error: its code and what there is to say about it.
#pragma once

#include <charconv>
#include <string>
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

  /// "type/id" when there are no details, else "type/id: " and the text or, without a text, the fields' texts joined
  /// with ", ". Raises Shared::Exception::Nil where an empty pointer stands among those fields.
  std::string toString() const {
    char head[MAX_HEAD];
    const std::size_t length = writeHead(head);
    if (fieldsText_.empty() && fields_.empty()) [[likely]]
      return std::string(head, length);
    return withDetails(head, length);
  }

 private:
  static constexpr std::size_t MAX_HEAD = 16;  // "255/-2147483648"

  std::size_t writeHead(char (&head)[MAX_HEAD]) const noexcept {
    char* end = std::to_chars(head, head + MAX_HEAD, unsigned{code_.getErrorType()}).ptr;
    *end++ = '/';
    return static_cast<std::size_t>(std::to_chars(end, head + MAX_HEAD, code_.getErrorId()).ptr - head);
  }
  std::string withDetails(const char* head, std::size_t length) const;

  ErrorCode code_;
  std::vector<Shared::Pointer<ErrorField>> fields_;
  std::string fieldsText_;
};

}  // namespace Quarnix::Hevra
