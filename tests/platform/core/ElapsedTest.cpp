// Spans and points of time: units and what happens at their ends.
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
      {"seconds and nanoseconds", Elapsed(60, 1), 60'000'000'001},
      {"negative nanoseconds", Elapsed(1, -1), 999'999'999},
      {"milliseconds", Elapsed::ofMilliseconds(-1500), -1'500'000'000},
      {"too many seconds", Elapsed(MOST / 10, 0), MOST},
      {"too few seconds", Elapsed(LEAST / 10, 0), LEAST},
      {"d + 30 at the end of 32 bits", Elapsed(0xFFFFFFFFLL + 30, 0), 4'294'967'325'000'000'000},
      {"nanoseconds beyond", Elapsed(MOST / 1'000'000'000, 999'999'999), MOST},
      {"sum beyond", Elapsed(0, MOST) + Elapsed(0, 1), MOST},
      {"sum below", Elapsed(0, LEAST) + Elapsed(0, -1), LEAST},
      {"milliseconds beyond", Elapsed::ofMilliseconds(MOST), MOST},
  };
  for (const auto& row : rows) EXPECT_EQ(row.span.getNanoseconds(), row.nanoseconds) << row.what;
}

TEST(Elapsed, RoundsSecondsTowardsZero) {
  EXPECT_EQ(Elapsed(0, 1'999'999'999).getSeconds(), 1);
  EXPECT_EQ(Elapsed(0, -1'999'999'999).getSeconds(), -1);
}

TEST(MonotonicTime, ReachesNeverInsteadOfWrapping) {
  EXPECT_TRUE((Monotonic(Elapsed(1, 0)) + Elapsed(0, MOST)).isNever());
  EXPECT_EQ((Monotonic(Elapsed(5, 0)) - Monotonic(Elapsed(3, 0))).getSeconds(), 2);
}

}  // namespace
}  // namespace Quarnix::Time
