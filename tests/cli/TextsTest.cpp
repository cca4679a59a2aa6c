// Numbers on the command line, and texts on a terminal.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <cli/Nearest.h>
#include <cli/Number.h>
#include <cli/Printable.h>
#include <cli/Width.h>
#include <json/Malformed.h>

namespace Quarnix::Hevra::Cli {
namespace {

using Json::Malformed;

TEST(Number, IsDecimalOrHexadecimalAndInRange) {
  EXPECT_EQ(readNumber("", "010", 10), 10U);
  EXPECT_EQ(readNumber("", "0xfF", 255), 255U);
  EXPECT_EQ(readNumber("", "18446744073709551615", UINT64_MAX), UINT64_MAX);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "0x", "0x-1", "ff", "1.0", "256", "18446744073709551616"}) {
    try {
      readNumber("--pace", text, 255);
      ADD_FAILURE() << text << " was accepted";
    } catch (const Malformed& error) {
      EXPECT_EQ(error.what(), "--pace: '" + std::string(text) + "' given, expected a number from 0 to 255");
    }
  }
  EXPECT_EQ(readSeconds("", "0x10"), Time::Elapsed(16, 0));
  EXPECT_EQ(readSeconds("", "0.25"), Time::Elapsed::ofMilliseconds(250));
  for (const char* text : {"", "-1", "1e3", "nan", "1s", "4294967296"})
    EXPECT_THROW(readSeconds("--for", text), Malformed) << text;
  EXPECT_EQ(readFraction("", "0.25", 0, 1), 0.25);
  EXPECT_EQ(readFraction("", "1", 0, 1), 1.0);
  for (const char* text : {"", "-0.1", "1.01", "nan", "inf", "0,5", "50%"})
    EXPECT_THROW(readFraction("--drop", text, 0, 1), Malformed) << text;
}

TEST(Number, MayHaveAName) {
  EXPECT_EQ(readNamed<std::int32_t>("", "Unknown", Json::LINK_TYPES, false), -1);
  EXPECT_EQ(readNamed<std::int32_t>("", "-2147483648", Json::LINK_TYPES, true), INT32_MIN);
  EXPECT_EQ(readNamed<std::uint8_t>("", "repeating_actuator", Json::NODE_CLASSES, false), 5U);
  EXPECT_EQ(readNamed<std::uint8_t>("", "0xff", Json::NODE_CLASSES, true), 255U);
  const std::string expected = "--action: 'x' given, expected add (0), modify (1) or remove (2)";
  for (const std::string text : {"x", "9", "-1", "", "0x100000000"}) {
    try {
      readNamed<std::int32_t>("--action", text, Json::NODE_ACTIONS, text == "0x100000000");
      ADD_FAILURE() << text << " was accepted";
    } catch (const Malformed& error) {
      const std::string raw = text.empty() || text == "x" ? "" : "; --raw admits other numbers";
      EXPECT_EQ(error.what(), "--action: '" + text + expected.substr(12) + raw);
    }
  }
}

TEST(Nearest, FindsWhatWasMeant) {
  const std::vector<std::string> known = {"reset", "nodes", "node", "send", "cancel", "record"};
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"nods", {"nodes", "node"}}, {"sned", {"send"}}, {"re", {"reset", "record"}}, {"quiet", {}}, {"", {}}};
  for (const auto& [word, meant] : rows) EXPECT_EQ(nearest(word, known), meant) << word;
}

TEST(Printable, EscapesWhatATerminalWouldActOn) {
  const std::pair<const char*, const char*> rows[] = {
      {"plain Größe 家 \xF0\x9F\x92\xA1", "plain Größe 家 \xF0\x9F\x92\xA1"},
      {"two\nlines", "two lines"},
      {"\x1b[31m\x7f\t", "\\x1b[31m\\x7f\\x09"},
      {"\xC2\x9B", "\\xc2\\x9b"},                             // a control character of two bytes
      {"\xFF \xC3", "\\xff \\xc3"},                           // no UTF-8, and cut
      {"\xC0\x80\xED\xA0\x80", "\\xc0\\x80\\xed\\xa0\\x80"},  // overlong, surrogate
      {"\xE5\xAE", "\\xe5\\xae"},
      {"\u2028\u202e\u2069\u2070", "\\xe2\\x80\\xa8\\xe2\\x80\\xae\\xe2\\x81\\xa9\u2070"},
  };
  for (const auto& [text, line] : rows) EXPECT_EQ(printable(text), line);
  EXPECT_EQ(printableJson("\"\u009b\x7f\u202e\u00e4\"\n"), "\"\\u009b\\u007f\\u202e\u00e4\"\n");
}

TEST(Width, CountsTheColumnsOfATerminalInAnyLocale) {
  const std::pair<const char*, std::size_t> rows[] = {
      {"", 0},           {"Größe", 5},  {"家", 2},           {"\u00e4\u0308\u200b", 1},
      {"\U0001F4A1", 2}, {"\uff21", 2}, {"\xff\xe5\xae", 3},
  };
  for (const auto& [text, width] : rows) EXPECT_EQ(widthOf(text), width) << text;
  const struct {
    std::size_t columns;
    const char* mark;
    const char* shown;
  } cuts[] = {{6, "…", "家家家"}, {5, "…", "家家…"}, {4, "…", "家…"}, {3, "...", "..."}, {1, "...", ""}};
  for (const auto& [columns, mark, shown] : cuts) EXPECT_EQ(cut("家家家", columns, mark), shown);
}

}  // namespace
}  // namespace Quarnix::Hevra::Cli
