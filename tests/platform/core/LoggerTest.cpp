// The process's logger and the one that writes to standard error.
#include <unistd.h>

#include <algorithm>
#include <tuple>

#include <tests/platform/core/Support.h>

namespace Quarnix::Log {
namespace {

using Quarnix::Test::CapturingLogger;

std::string writtenBy(const std::function<void()>& act) {
  testing::internal::CaptureStderr();
  act();
  return testing::internal::GetCapturedStderr();
}

std::string print(Priority priority, const std::string& text, int times = 1) {
  return writtenBy([&] {
    for (int i = 0; i < times; ++i) Logger::get()->print(priority, "%s", text.c_str());
  });
}

TEST(Logger, WritesToStandardErrorBehindThePriority) {
  using enum Priority;
  const auto wide = [](std::size_t length) { return std::string(length, 'x'); };
  const struct {
    Priority priority;
    std::string text, written;
  } rows[] = {
      {EMERGENCY, "a", "<0>a\n"},
      {SILENT, "never seen", ""},
      {UNKNOWN, "a", "<6>a\n"},
      {static_cast<Priority>(-1), "a", "<6>a\n"},
      {WARNING, "\x1b[2J\n\r\x7f Gr\u00f6\u00dfe", "<4>\\x1b[2J \\x0d\\x7f Gr\u00f6\u00dfe\n"},
      {WARNING, "\u009b\u202e\u2066\u2028", "<4>\\xc2\\x9b\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xe2\\x80\\xa8\n"},
      {WARNING, "\xff\xe2\x80", "<4>\\xff\\xe2\\x80\n"},
      {WARNING, wide(512), "<4>" + wide(512) + "\n"},
      {WARNING, wide(4092), "<4>" + wide(4092) + "\n"},
      {WARNING, wide(4093), "<4>" + wide(4083) + "... (cut)\n"},
      {WARNING, wide(4081) + "\x1b" + wide(8'000'000), "<4>" + wide(4081) + "... (cut)\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(print(row.priority, row.text), row.written);
}

TEST(Logger, WritesNoMoreThanItsLimit) {
  Time::SimulatedClock clock;
  // How many lines of a length are written at once, and each second.
  for (const auto& [length, burst, each] : {std::tuple(20U, 1000, 100), {4096U, 40, 4}}) {
    const auto flood = [&clock, text = std::string(length, 'x')](const Time::Elapsed& pause) {
      const std::string note = writtenBy([&] { clock.advance(pause); });
      const std::string lines = print(Priority::WARNING, text, 1500);
      return note + std::to_string(std::count(lines.begin(), lines.end(), '\n'));
    };
    EXPECT_EQ(flood(Time::Elapsed(3600, 0)), std::to_string(burst));
    EXPECT_EQ(flood(Time::Elapsed()), "0");
    std::string note = "<4>libCore> " + std::to_string(3000 - burst);
    for (int second = 0; second < 60; ++second) {
      const std::string told = flood(Time::Elapsed(1, 0));
      EXPECT_TRUE(told.starts_with(note + " log lines were suppressed, because too much was logged\n")) << told;
      const int lines = std::stoi(told.substr(told.find('\n')));
      EXPECT_TRUE(lines == each || lines == each - 1) << lines;
      note = "<4>libCore> " + std::to_string(1500 - lines);
    }
    clock.advance(Time::Elapsed(3600, 0));
  }
  EXPECT_EQ(print(Priority::WARNING, "a"), "<4>a\n");
}

TEST(Logger, OutlivesStandardError) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const int kept = ::dup(STDERR_FILENO);
  ::close(ends[0]);
  ::dup2(ends[1], STDERR_FILENO);
  Logger::get()->print(Priority::WARNING, "nobody reads");
  ::close(STDERR_FILENO);
  Logger::get()->print(Priority::WARNING, "nor is there anything to write to");
  ::dup2(kept, STDERR_FILENO);
  EXPECT_EQ(print(Priority::WARNING, "a"), "<4>a\n");
}

TEST(Logger, GetsLinesWholeAndFailsOnlyWhenPrintingLoudly) {
  struct Throwing : Logger {
    void write(Priority, const char*) override { throw std::runtime_error("full"); }
  };
  const CapturingLogger kept;
  const std::string wide(100'000, 'x');
  print(Priority::INFO, wide);
  EXPECT_EQ(kept.get(), std::vector{"6 " + wide});
  Logger::set(Shared::make<Throwing>());
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "lost"), std::runtime_error);
  EXPECT_NO_THROW(printQuietly(Priority::WARNING, "lost"));
  Logger::set(nullptr);
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "lost"), Shared::Exception::Nil);
  EXPECT_EQ(writtenBy([] { printQuietly(Priority::WARNING, "lost"); }), "");
}

}  // namespace
}  // namespace Quarnix::Log
