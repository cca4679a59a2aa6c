// Reports a finding of a fuzzer.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace Quarnix::Fuzz {

/// Prints the finding and aborts; libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* what, const char* detail = "") {
  std::fprintf(stderr, "finding: %s %s\n", what, detail);
  std::abort();
}

/// Fails with `what`, the requirement, unless it holds.
inline void require(bool holds, const char* what) {
  if (!holds) fail(what);
}

}  // namespace Quarnix::Fuzz
