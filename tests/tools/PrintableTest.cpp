// What reaches a terminal.
#include <gtest/gtest.h>

#include <stack/forms/Printable.h>

namespace Quarnix::Hevra::Stack::Forms {
namespace {

TEST(Printable, EscapesWhatATerminalWouldActOn) {
  const std::pair<const char*, const char*> rows[] = {
      {"plain Größe 家 \xF0\x9F\x92\xA1", "plain Größe 家 \xF0\x9F\x92\xA1"},
      {"two\nlines", "two lines"},
      {"\x1b[31m\x7f\t", "\\x1b[31m\\x7f\\x09"},
      {"\xC2\x9B", "\\xc2\\x9b"},                             // a control character of two bytes
      {"\xFF \xC3", "\\xff \\xc3"},                           // no UTF-8, and cut
      {"\xC0\x80\xED\xA0\x80", "\\xc0\\x80\\xed\\xa0\\x80"},  // overlong, surrogate
      {"\xE5\xAE", "\\xe5\\xae"},
  };
  for (const auto& [text, line] : rows) EXPECT_EQ(printable(text), line);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Forms
