// Spans of time: units and what happens at their ends.
#include <gtest/gtest.h>

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Time {
namespace {

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

TEST(Elapsed, KeepsNanosecondsAndSaturates) {
  const struct {
    const char* what;
    Elapsed span;
    std::int64_t nanoseconds;
  } rows[] = {
      {"negative nanoseconds", Elapsed(1, -1), 999'999'999},
      {"too many seconds", Elapsed(MOST / 10, 0), MOST},
      {"too few seconds", Elapsed(LEAST / 10, 0), LEAST},
      {"d + 30 at the end of 32 bits", Elapsed(0xFFFFFFFFLL + 30, 0), 4'294'967'325'000'000'000},
      {"nanoseconds beyond", Elapsed(MOST / 1'000'000'000, 999'999'999), MOST},
      {"sum below", Elapsed(0, LEAST) + Elapsed(0, -1), LEAST},
      {"milliseconds beyond", Elapsed::ofMilliseconds(MOST), MOST},
  };
  for (const auto& row : rows) EXPECT_EQ(row.span.getNanoseconds(), row.nanoseconds) << row.what;
  EXPECT_EQ(Elapsed(0, -1'999'999'999).getSeconds(), -1) << "rounded towards zero";
}

}  // namespace
}  // namespace Quarnix::Time
