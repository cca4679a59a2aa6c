// Which rules are understood and which signals they let through.
#include <gtest/gtest.h>

#include <platform/bus/connection/MatchRule.h>

namespace Quarnix::Bus::Internal {
namespace {

TEST(MatchRule, LetsThroughWhatAgreesWithEveryKey) {
  Message::Signal signal("/a/b", "com.example.One", "Rang");
  signal.begin().append("first");
  const struct {
    const char* text;
    bool matches;
  } rows[] = {
      {"", true},
      {"type='method_call'", false},
      {"path='/a'", false},
      {"interface='com.example.Two',member='Rang'", false},
      {"interface='com.example.One',member='Ran'", false},
      {"arg0=''", false},
      {"sender='a.b',type='signal',path='/a/b',interface='com.example.One',member='Rang',arg0='first'", true},
  };
  for (const auto& row : rows) {
    std::string problem;
    const auto rule = MatchRule::parse(row.text, problem);
    ASSERT_TRUE(rule) << row.text << ": " << problem;
    EXPECT_EQ(rule->matches(signal, true), row.matches) << row.text;
    EXPECT_FALSE(rule->matches(signal, false)) << row.text;
  }
  std::string problem;
  EXPECT_FALSE(MatchRule::parse("arg0='5'", problem)->matches(Message::Signal("/a", "a.b", "c"), true));
}

TEST(MatchRule, SaysWhatIsWrong) {
  const struct {
    const char* text;
    const char* problem;
  } rows[] = {
      {"type=signal", "expected KEY='VALUE' at \"type=signal\""},
      {"path='/a',member='x", "expected KEY='VALUE' at \"member='x\""},
      {"arg1='x'", "expected type, sender, path, interface, member or arg0 instead of \"arg1\""},
  };
  for (const auto& row : rows) {
    std::string problem;
    EXPECT_FALSE(MatchRule::parse(row.text, problem)) << row.text;
    EXPECT_EQ(problem, row.problem) << row.text;
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Internal
