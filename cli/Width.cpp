// Asks the C library for the width of each character.
#include <cli/Width.h>

#include <locale.h>
#include <wchar.h>

#include <algorithm>

#include <platform/core/internal/Utf8.h>

namespace Quarnix::Hevra::Cli {

namespace {

/// Makes the calling thread use a locale that knows all characters, whatever the program was started with. Where the
/// system has no such locale, the widths of the present one count.
class UnicodeLocale {
 public:
  UnicodeLocale() : former_(::uselocale(shared())) {}
  ~UnicodeLocale() { ::uselocale(former_); }
  UnicodeLocale(const UnicodeLocale&) = delete;
  UnicodeLocale& operator=(const UnicodeLocale&) = delete;

 private:
  static locale_t shared() {
    static const locale_t LOCALE = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return LOCALE;  // null leaves the thread's locale as it is
  }

  const locale_t former_;
};

/// Removes the first character from `text` and returns its width. A character that the locale does not know has one
/// column, and so has a byte that is not UTF-8.
std::size_t takeWidth(std::string_view& text) {
  const std::size_t length = std::max(Utf8::lengthOfFirst(text), std::size_t{1});
  const int width = ::wcwidth(static_cast<wchar_t>(Utf8::codePointOf(text.substr(0, length))));
  text.remove_prefix(length);
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::size_t widthOf(std::string_view text) {
  const UnicodeLocale locale;
  std::size_t width = 0;
  while (!text.empty()) width += takeWidth(text);
  return width;
}

std::string cut(const std::string& text, std::size_t columns, const char* mark) {
  if (widthOf(text) <= columns) return text;
  if (widthOf(mark) > columns) mark = "";
  const std::size_t room = columns - widthOf(mark);
  const UnicodeLocale locale;
  std::size_t kept = 0;
  std::string_view rest = text;
  for (std::size_t width = 0; !rest.empty(); kept = text.size() - rest.size()) {
    width += takeWidth(rest);
    if (width > room) break;
  }
  return text.substr(0, kept) + mark;
}

}  // namespace Quarnix::Hevra::Cli
