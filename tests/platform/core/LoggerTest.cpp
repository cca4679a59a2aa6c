// The process's logger and the one that writes to standard error.
#include <stdexcept>
#include <string>

#include <tests/platform/core/Support.h>

namespace Quarnix::Log {
namespace {

using Quarnix::Test::CapturingLogger;

TEST(Logger, WritesToStandardErrorBehindThePriority) {
  const struct {
    Priority priority;
    const char* text;
    std::string written;
  } rows[] = {
      {Priority::EMERGENCY, "a", "<0>a\n"}, {Priority::WARNING, "line of two\nlines", "<4>line of two lines\n"},
      {Priority::DEBUG, "", "<7>\n"},       {Priority::SILENT, "never seen", ""},
      {Priority::UNKNOWN, "a", "<6>a\n"},   {static_cast<Priority>(-1), "a", "<6>a\n"},
  };
  for (const auto& row : rows) {
    testing::internal::CaptureStderr();
    Logger::get()->print(row.priority, "%s", row.text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), row.written) << row.text;
  }
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
