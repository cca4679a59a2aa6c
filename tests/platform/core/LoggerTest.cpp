// The process's logger and the one that writes to standard error.
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Log {
namespace {

using Quarnix::Test::CapturingLogger;

std::string writtenBy(const std::function<void()>& act) {
  testing::internal::CaptureStderr();
  act();
  return testing::internal::GetCapturedStderr();
}

std::size_t linesOf(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Logger, WritesToStandardErrorBehindThePriority) {
  const std::string wide(2000, '\x1b');
  const auto cutWide = [&](std::size_t count) {
    std::string text;
    while (count-- > 0) text += "\\x1b";
    return text;
  };
  const struct {
    Priority priority;
    std::string text;
    std::string written;
  } rows[] = {
      {Priority::EMERGENCY, "a", "<0>a\n"},
      {Priority::WARNING, "line of two\nlines", "<4>line of two lines\n"},
      {Priority::DEBUG, "", "<7>\n"},
      {Priority::SILENT, "never seen", ""},
      {Priority::UNKNOWN, "a", "<6>a\n"},
      {static_cast<Priority>(-1), "a", "<6>a\n"},
      {Priority::WARNING, "\x1b[2J\r\t\x7f Gr\u00f6\u00dfe", "<4>\\x1b[2J\\x0d\\x09\\x7f Gr\u00f6\u00dfe\n"},
      {Priority::WARNING, "\u009b \u202e \u2066 \u2028",
       "<4>\\xc2\\x9b \\xe2\\x80\\xae \\xe2\\x81\\xa6 \\xe2\\x80\\xa8\n"},
      {Priority::WARNING, "\xff\xe2\x80", "<4>\\xff\\xe2\\x80\n"},
      {Priority::WARNING, std::string(4092, 'x'), "<4>" + std::string(4092, 'x') + "\n"},
      {Priority::WARNING, std::string(4093, 'x'), "<4>" + std::string(4083, 'x') + "... (cut)\n"},
      {Priority::WARNING, std::string(8'000'000, 'x'), "<4>" + std::string(4083, 'x') + "... (cut)\n"},
      {Priority::WARNING, wide, "<4>" + cutWide(1020) + "... (cut)\n"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(writtenBy([&] { Logger::get()->print(row.priority, "%s", row.text.c_str()); }), row.written);
}

TEST(Logger, WritesNoMoreThanItsLimit) {
  const std::size_t WIDE = 4096;
  Time::SimulatedClock clock;
  for (const std::size_t length : {std::size_t{20}, WIDE}) {
    clock.advance(Time::Elapsed(3600, 0));
    const auto flood = [&](int count) {
      return writtenBy([&] {
        for (int i = 0; i < count; ++i) Logger::get()->print(Priority::WARNING, "%s", std::string(length, 'x').c_str());
      });
    };
    const std::size_t burst = length == WIDE ? 40 : 1000;
    const std::size_t each = length == WIDE ? 4 : 100;
    EXPECT_EQ(linesOf(flood(1500)), burst);
    EXPECT_EQ(flood(1500), "");
    EXPECT_EQ(
        writtenBy([&] { clock.advance(Time::Elapsed(1, 0)); }),
        "<4>libCore> " + std::to_string(3000 - burst) + " log lines were suppressed, because too much was logged\n");
    std::size_t written = 0;
    for (int second = 0; second < 60; ++second) {
      const std::string lines = flood(150);
      EXPECT_LE(linesOf(lines), each);
      EXPECT_GE(linesOf(lines) + 1, each);
      written += lines.size() + writtenBy([&] { clock.advance(Time::Elapsed(1, 0)); }).size();
    }
    EXPECT_LT(written + burst * (length + 4), 1U << 20);
    clock.advance(Time::Elapsed(3600, 0));
    EXPECT_EQ(writtenBy([] { Logger::get()->print(Priority::WARNING, "a"); }), "<4>a\n");
  }
}

TEST(Logger, OutlivesStandardError) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const int kept = ::dup(STDERR_FILENO);
  ::close(ends[0]);
  ::dup2(ends[1], STDERR_FILENO);
  Logger::get()->print(Priority::WARNING, "nobody reads");
  ::close(STDERR_FILENO);
  Logger::get()->print(Priority::WARNING, "nobody reads");
  ::dup2(kept, STDERR_FILENO);
  EXPECT_EQ(writtenBy([] { Logger::get()->print(Priority::WARNING, "a"); }), "<4>a\n");
}

TEST(Logger, KeepsLinesOfAnyLengthWhole) {
  const CapturingLogger kept;
  for (const std::size_t length : {510U, 511U, 512U, 513U, 100'000U}) {
    const std::string text(length, 'x');
    Logger::get()->print(Priority::INFO, "%s|", text.c_str());
    EXPECT_EQ(kept.get().back(), "6 " + text + "|");
  }
}

TEST(Logger, FailsOnlyWhenPrintingLoudly) {
  struct Throwing : Logger {
    void write(Priority, const char*) override { throw std::runtime_error("full"); }
  };
  const CapturingLogger kept;
  Logger::set(Shared::make<Throwing>());
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "lost"), std::runtime_error);
  EXPECT_NO_THROW(printQuietly(Priority::WARNING, "lost"));
  Logger::set(nullptr);
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "lost"), Shared::Exception::Nil);
  testing::internal::CaptureStderr();
  printQuietly(Priority::WARNING, "lost");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace Quarnix::Log
