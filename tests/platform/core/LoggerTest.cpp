// The process's logger and the one that writes to standard error.
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <tests/platform/core/Support.h>

namespace Quarnix::Log {
namespace {

using Quarnix::Test::CapturingLogger;

/// What `work` writes to standard error; it must fit into a pipe.
template <class Work>
std::string standardErrorOf(const Work& work) {
  int ends[2];
  EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const int former = ::dup(STDERR_FILENO);
  ::dup2(ends[1], STDERR_FILENO);
  work();
  ::dup2(former, STDERR_FILENO);
  ::close(former);
  ::close(ends[1]);
  std::string all;
  char buffer[4096];
  for (ssize_t got; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;)
    all.append(buffer, static_cast<std::size_t>(got));
  ::close(ends[0]);
  return all;
}

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
  for (const auto& row : rows)
    EXPECT_EQ(standardErrorOf([&] { Logger::get()->print(row.priority, "%s", row.text); }), row.written) << row.text;
}

TEST(Logger, KeepsLinesOfAnyLengthWhole) {
  const CapturingLogger kept;
  for (const std::size_t length : {510U, 511U, 512U, 513U, 100'000U}) {
    const std::string text(length, 'x');
    Logger::get()->print(Priority::INFO, "%s|", text.c_str());
    EXPECT_EQ(kept.get().back(), "6 " + text + "|");
  }
}

TEST(Logger, RaisesNilWhenEmptyWhereQuietPrintingSaysNothing) {
  const CapturingLogger kept;
  Logger::set(nullptr);
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "lost"), Shared::Exception::Nil);
  EXPECT_EQ(standardErrorOf([] { printQuietly(Priority::WARNING, "lost"); }), "");
}

TEST(Logger, LetsAThrowingLoggerOutOnlyWhenPrintingLoudly) {
  struct Throwing : Logger {
    void write(Priority, const char*) override { throw std::runtime_error("full"); }
  };
  const CapturingLogger kept;
  Logger::set(Shared::make<Throwing>());
  EXPECT_THROW(Logger::get()->print(Priority::WARNING, "x"), std::runtime_error);
  printQuietly(Priority::WARNING, "x");
}

}  // namespace
}  // namespace Quarnix::Log
